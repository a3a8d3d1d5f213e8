// Stands in for the client module in the installed-layout test: a page that imports it proves
// that the view served <prefix>/share/zarvo_bridging/web/zarvo/ by default.
export const where = 'the installed web folder';
