// The fields of a smart playlist's rule: tests, and groups of them.

import { h, refill } from '../dom.js';
import { button, iconButton } from '../icons.js';
import { fields, isRelativeDay, kindOf, operators, units } from '../rules.js';
import { t } from '../texts.js';
import { picker } from './page-view.js';

/** @typedef {import('../rules.js').Test} Test */
/** @typedef {import('../rules.js').Group} Group */
/** @typedef {import('../texts.js').TextName} TextName */

const DEEPEST = 3;

/** @type {() => Test} one that still lacks its value */
export const newTest = () => ({ field: 'genre', operator: 'includes', value: '' });

/**
 * @param {string} beginning of the names in the table of texts
 * @param {string[]} names
 * @returns {[string, string][]}
 */
function named(beginning, names) {
  return names.map((name) => [name, t(/** @type {TextName} */ (`${beginning}.${name}`))]);
}

/**
 * What a date is compared with: a day, or some time back.
 * @param {Test} test
 * @param {(draw: boolean) => void} changed
 */
function dateFields(test, changed) {
  const known = test.operator === 'is' ? units.slice(4) : units;
  if (!known.includes(test.unit ?? '')) {
    test.unit = known[0];
    test.value = '';
  }
  const unit = picker(t('rule.unit'), named('rule.unit', known), test.unit ?? '', (value) => {
    test.unit = value;
    test.value = '';
    changed(true);
  });
  const isDay = test.unit === 'day';
  const input = !isRelativeDay(test.unit) && valueInput(test, changed,
    isDay ? { type: 'date' } : { type: 'number', min: 0, max: 999, step: 1 });
  return isDay ? [unit, input] : [input, unit];
}

/**
 * @param {Test} test
 * @param {(draw: boolean) => void} changed
 * @param {Record<string, unknown>} props
 */
function valueInput(test, changed, props) {
  const input = h('input', {
    class: 'input', 'aria-label': t('rule.value'), value: test.value, autocomplete: 'off',
    ...props,
    oninput: () => {
      test.value = input.value;
      changed(false);
    },
  });
  return input;
}

/**
 * @param {Test} test
 * @param {(draw: boolean) => void} changed
 * @param {() => void} remove
 */
function testRow(test, changed, remove) {
  const kind = kindOf(test.field);
  const known = Object.keys(operators[kind]);
  const field = picker(t('rule.field'), named('rule', fields), test.field, (value) => {
    const isOther = kindOf(value) !== kind;
    Object.assign(test, { field: value }, isOther &&
      { operator: Object.keys(operators[kindOf(value)])[0], value: '', unit: '' });
    changed(true);
  });
  const words = named(`rule.${kind}`, known);
  const operator = picker(t('rule.operator'), words, test.operator, (value) => {
    test.operator = value;
    changed(true);
  });
  const value = kind === 'date' ? dateFields(test, changed)
    : [valueInput(test, changed, kind === 'number'
      ? { type: 'number', min: 0, step: 'any' } : { type: 'text', maxLength: 250, dir: 'auto' })];
  return h('li', { class: 'rule-test' }, field, operator,
    h('span', { class: 'rule-value' }, ...value),
    iconButton('close', t('rule.remove'), remove));
}

/**
 * The fields of a group, which follow what is changed in them.
 * @param {Group} group
 * @param {() => void} onChange
 * @param {() => void} [remove] of a group within another one
 * @param {number} [depth]
 * @returns {HTMLElement}
 */
export function ruleFields(group, onChange, remove, depth = 1) {
  const box = h('div', { class: 'rule-group', role: 'group', 'aria-label': t('rule.group') });
  const add = (/** @type {Test | Group} */ part) => {
    group.parts.push(part);
    draw();
    onChange();
    [...box.querySelectorAll('select')].at(-1)?.focus();
  };
  const draw = () => {
    const join = picker(t('rule.join'), named('rule.join', ['and', 'or']), group.join, (value) => {
      group.join = /** @type {'and' | 'or'} */ (value);
      onChange();
    });
    const rows = group.parts.map((part) => {
      const cut = () => {
        group.parts.splice(group.parts.indexOf(part), 1);
        draw();
        onChange();
        box.querySelector('select')?.focus();
      };
      const changed = (/** @type {boolean} */ isOther) => {
        if (isOther) {
          const place = [...box.querySelectorAll('select')].indexOf(
            /** @type {HTMLSelectElement} */ (document.activeElement));
          draw();
          box.querySelectorAll('select')[place]?.focus();
        }
        onChange();
      };
      return 'parts' in part
        ? h('li', {}, ruleFields(part, onChange, cut, depth + 1)) : testRow(part, changed, cut);
    });
    refill(box,
      h('div', { class: 'rule-head' }, join,
        remove && iconButton('close', t('rule.removeGroup'), remove)),
      h('ul', {}, ...rows),
      h('div', { class: 'tools' },
        button(t('rule.add'), () => add(newTest())),
        depth < DEEPEST && button(t('rule.addGroup'), () =>
          add({ join: group.join === 'and' ? 'or' : 'and', parts: [newTest()] }))));
  };
  draw();
  return box;
}
