// What has no tab of its own on a phone.

import { h } from '../dom.js';
import { navLink, TABS, VIEWS } from '../parts/navigation.js';
import { page, pageHead } from '../parts/page-view.js';
import { t } from '../texts.js';

export function view() {
  return page('more', t('nav.more'), (view) => {
    const tabs = /** @type {readonly string[]} */ (TABS);
    const links = /** @type {const} */ ([...VIEWS, 'queue', 'settings'])
      .filter((name) => !tabs.includes(name)).map(navLink);
    view.append(pageHead(t('nav.more')).head, h('ul', { class: 'more-links' },
      ...links.map((link) => h('li', {}, link))));
  });
}
