// Sets the chosen theme before the first paint. A classic script, because modules run later.
'use strict';

try {
  const { theme } = JSON.parse(localStorage.getItem('tonvale.choices') ?? '{}');
  if (theme === 'light' || theme === 'dark') {
    document.documentElement.dataset.theme = theme;
  }
} catch {
  // Without storage the system's theme holds.
}
