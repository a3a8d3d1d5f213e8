// Formatting of the page side, checked by CTest (web.format).
export default {
  printWidth: 100,
  singleQuote: true,
  trailingComma: 'all',
};
