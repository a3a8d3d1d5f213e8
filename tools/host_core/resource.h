// The plug-in's four resources and the texts of one call to them.
//
// Threads: plain values and stateless functions; any thread.
#ifndef ZARVO_HOST_CORE_RESOURCE_H
#define ZARVO_HOST_CORE_RESOURCE_H

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace host_core {

enum class Resource {
  kApplication,  // ZarvoApplication: connect, disconnect
  kBridge,       // ZarvoApplicationBridge: requests to an application
  kEvent,        // ZarvoApplicationEvent: subscribe, unsubscribe
  kCustom,       // ZarvoApplicationCustom: custom tasks
};

constexpr std::array<Resource, 4> kResources = {Resource::kApplication, Resource::kBridge,
                                                Resource::kEvent, Resource::kCustom};

// The exported name of the resource's entry point, e.g. "ZarvoApplicationBridge".
const char* resourceName(Resource resource);
// The resource whose entry point is called `name`, if any.
std::optional<Resource> resourceNamed(std::string_view name);

// The four request texts of one call, passed to the entry point unchanged. An absent text is
// the empty text, never a null pointer.
struct RequestTexts {
  std::string options;
  std::string parameters;
  std::string extra;
  std::string body;

  // The four texts' bytes together: what the request size limit counts for a call that is not
  // carried in one message of its own.
  size_t bytes() const { return options.size() + parameters.size() + extra.size() + body.size(); }
};

}  // namespace host_core

#endif  // ZARVO_HOST_CORE_RESOURCE_H
