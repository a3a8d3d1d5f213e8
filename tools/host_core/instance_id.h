// The host process's instance id: 16 lowercase hexadecimal digits, random per process.
//
// Event ids count from 1 in every host process. A client that reconnects and finds another
// instance id knows the host restarted: the ids it remembers belong to the old instance, and the
// new one's events are wanted from its first.
#ifndef ZARVO_HOST_CORE_INSTANCE_ID_H
#define ZARVO_HOST_CORE_INSTANCE_ID_H

#include <string>

namespace host_core {

// 64 bits from std::random_device as 16 lowercase hexadecimal digits.
std::string newInstanceId();

}  // namespace host_core

#endif  // ZARVO_HOST_CORE_INSTANCE_ID_H
