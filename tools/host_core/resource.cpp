#include "host_core/resource.h"

namespace host_core {

const char* resourceName(Resource resource) {
  switch (resource) {
    case Resource::kApplication:
      return "ZarvoApplication";
    case Resource::kBridge:
      return "ZarvoApplicationBridge";
    case Resource::kEvent:
      return "ZarvoApplicationEvent";
    case Resource::kCustom:
      return "ZarvoApplicationCustom";
  }
  return "";
}

std::optional<Resource> resourceNamed(std::string_view name) {
  for (const Resource resource : kResources) {
    if (name == resourceName(resource)) return resource;
  }
  return std::nullopt;
}

}  // namespace host_core
