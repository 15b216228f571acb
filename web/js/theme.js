// Sets the chosen theme before the first paint. A classic script, because modules run later.
'use strict';

/** @param {string} [theme] */
function applyTheme(theme) {
  const media = theme === 'dark' ? 'all'
    : theme === 'light' ? 'not all' : '(prefers-color-scheme: dark)';
  /** @type {HTMLLinkElement} */ (document.getElementById('dark')).media = media;
}

try {
  applyTheme(JSON.parse(localStorage.getItem('tonvale.choices') ?? '{}').theme);
} catch {
  // Without storage the system's theme holds.
}
