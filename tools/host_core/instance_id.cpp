#include "host_core/instance_id.h"

#include <cstdint>
#include <random>

namespace host_core {

std::string newInstanceId() {
  std::random_device device;
  const uint64_t bits = (static_cast<uint64_t>(device()) << 32) ^ device();
  static const char kDigits[] = "0123456789abcdef";
  std::string id(16, '0');
  for (int i = 0; i < 16; ++i) id[static_cast<size_t>(i)] = kDigits[(bits >> (60 - 4 * i)) & 15];
  return id;
}

}  // namespace host_core
