// The view's channel objects reached with Qt's qwebchannel.js directly, as a page client does:
// the host side of the contract, tested without the client modules of web/zarvo.

// Qt's qwebchannel.js is a classic script that defines the global QWebChannel.
function loadQWebChannel() {
  if (typeof globalThis.QWebChannel === 'function') return Promise.resolve(globalThis.QWebChannel);
  return new Promise((resolve, reject) => {
    const script = document.createElement('script');
    script.src = '/zarvo/qwebchannel.js';
    script.onload = () => resolve(globalThis.QWebChannel);
    script.onerror = () => reject(new Error(`${script.src} could not be loaded`));
    document.head.append(script);
  });
}

let objects = null;

/** The host's channel objects ("zarvo", "zarvoSimulator"), connected once per page. */
export function channelObjects() {
  objects ??= loadQWebChannel().then(
    (QWebChannel) =>
      new Promise((resolve) => {
        // eslint-disable-next-line no-new
        new QWebChannel(globalThis.qt.webChannelTransport, (channel) => resolve(channel.objects));
      }),
  );
  return objects;
}

/** Invokes a host method; the host answers every invocation once, through the callback. */
export function invoke(object, method, ...args) {
  return new Promise((resolve) => object[method](...args, resolve));
}

/** JSON with the members of every object in key order, so a line compares exactly. */
export function show(value) {
  const sorted = (v) => {
    if (Array.isArray(v)) return v.map(sorted);
    if (v === null || typeof v !== 'object') return v;
    return Object.fromEntries(Object.keys(v).sort().map((key) => [key, sorted(v[key])]));
  };
  return JSON.stringify(sorted(value));
}
