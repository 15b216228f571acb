// The page's texts in English, by their subjects.

import { lists } from './en/lists.js';
import { page } from './en/page.js';
import { playing } from './en/playing.js';
import { settings } from './en/settings.js';

export const en = { ...page, ...playing, ...lists, ...settings };
