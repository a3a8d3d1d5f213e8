// Lint rules of the page side: ESLint's recommended rules for the client, the console, the
// example pages and the tests. Formatting is Prettier's (prettier.config.mjs), not ESLint's.
import js from '@eslint/js';
import globals from 'globals';

export default [
  { ignores: ['node_modules/', 'test-results/', 'bundled/dist/', '**/*.ts'] },
  js.configs.recommended,
  {
    languageOptions: { ecmaVersion: 2022, sourceType: 'module', globals: { ...globals.browser } },
    rules: {
      'no-unused-vars': ['error', { argsIgnorePattern: '^_', caughtErrors: 'none' }],
      eqeqeq: ['error', 'always', { null: 'ignore' }],
      'prefer-const': 'error',
      'no-var': 'error',
    },
  },
  {
    files: ['test/**', 'browser/**', 'bench/**', 'bundled/build.mjs', '*.config.mjs'],
    languageOptions: { globals: { ...globals.node } },
  },
];
