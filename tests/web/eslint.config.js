// ESLint for the live page (web/www):
// ESLint's recommended rules, plus what the page holds itself to. Run from
// the checkout's root: tests/web/node_modules/.bin/eslint -c tests/web/eslint.config.js web/www
import js from '@eslint/js';
import globals from 'globals';

export default [
  js.configs.recommended,
  {
    files: ['web/www/**/*.js'],
    languageOptions: { ecmaVersion: 2022, sourceType: 'module', globals: { ...globals.browser } },
    rules: {
      'no-eval': 'error',
      'no-implied-eval': 'error',
      'no-new-func': 'error',
      'no-var': 'error',
      'prefer-const': 'error',
      eqeqeq: ['error', 'always'],
      'no-restricted-properties': ['error',
        { property: 'innerHTML', message: 'texts go in through textContent' },
        { property: 'outerHTML', message: 'texts go in through textContent' }],
      'no-restricted-syntax': ['error',
        { selector: "CallExpression[callee.property.name='insertAdjacentHTML']", message: 'texts go in through textContent' },
        { selector: "CallExpression[callee.property.name='setAttribute'][arguments.0.value='style']", message: 'inline styles break the page\'s Content-Security-Policy' },
        { selector: "Property[key.value='style'], Property[key.name='style']", message: 'inline styles break the page\'s Content-Security-Policy' }],
    },
  },
];
