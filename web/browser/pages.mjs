// Pages the browser tests open: the server's page with the client and the simulator controls in
// window.t.

/** Opens the server's page with `window.t = { zarvo, simulator, bridge }`. */
export async function openPage(page, server) {
  await page.goto(server.url);
  await page.evaluate(async () => {
    const zarvo = await import('/zarvo/zarvo.js');
    const simulator = await import('/zarvo/simulator.js');
    window.t = { zarvo, simulator, bridge: zarvo.createBridge() };
  });
}
