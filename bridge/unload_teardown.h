// Tear-down when the plug-in is unloaded (dlclose) while applications are still connected.
//
// Design note
// -----------
// A host that dlcloses the plug-in without calling TearDown would leave the application library
// holding event and did-disconnect callbacks into code that is about to be unmapped. So the
// plug-in's ELF destructor empties the registry, exactly as TearDown does. Process exit must not
// do that: a host that exits without TearDown leaves its connections to the library.
//
// The two cases are told apart by the order in which the C library runs things:
//   - dlclose: the library's .fini_array entries run in reverse, so our destructor function runs
//     before the crtstuff entry that calls __cxa_finalize for this library, i.e. before any
//     static destructor registered by the library;
//   - exit: exit() first runs every handler registered with __cxa_atexit after the dynamic
//     linker's own (static destructors included) and only then _dl_fini, which runs the ELF
//     destructors.
// ArmUnloadTearDown() creates a function-local static sentinel whose destructor marks the process
// as exiting. It is called by the connect entry point, so the sentinel is registered after the
// dynamic linker's exit handler also when the plug-in is linked rather than dlopened (a
// namespace-scope sentinel of a linked library would be registered before it and outlive
// _dl_fini's call of our destructor). Until the first connect there is nothing to tear down.
//
// Threads: ArmUnloadTearDown() runs on the host's calling thread (the runtime synchronises the
// static's first construction); the destructor runs on the thread that calls dlclose or exit.
#ifndef BRIDGE_UNLOAD_TEARDOWN_H
#define BRIDGE_UNLOAD_TEARDOWN_H

namespace bridge {

// Makes the plug-in's unload tear down the registry; cheap after the first call.
void ArmUnloadTearDown();

}  // namespace bridge

#endif  // BRIDGE_UNLOAD_TEARDOWN_H
