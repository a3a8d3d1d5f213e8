// The package's "exports" and "types" as a TypeScript project sees them: importing by the
// package name gives the declarations (this file only compiles, it never runs).
import { createBridge, type Bridge } from '@zarvo/bridge-client';
import { createFakeBridge, type FakeCall } from '@zarvo/bridge-client/testing';
import { createSimulator } from '@zarvo/bridge-client/simulator';

const { bridge, transport } = createFakeBridge();
const same: Bridge = bridge;
const calls: FakeCall[] = transport.calls;
createBridge({ transport });
(void createSimulator, same, calls);
