// ZRV_SIM_EXPORT: marks the C functions that the simulated library exports. The library is built
// with hidden visibility, so everything else (the simulator's C++ classes, the JSON library it
// links statically) stays internal and cannot clash with a user's own copies.
#ifndef ZARVO_SIM_EXPORT_H
#define ZARVO_SIM_EXPORT_H

#define ZRV_SIM_EXPORT __attribute__((visibility("default")))

#endif  // ZARVO_SIM_EXPORT_H
