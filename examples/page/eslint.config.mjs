// The example page follows the lint rules of the page side (web/eslint.config.mjs).
export { default } from '../../web/eslint.config.mjs';
