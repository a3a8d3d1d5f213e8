#include "host_core/plugin.h"

#include <dlfcn.h>

#include <cstring>
#include <utility>

namespace host_core {
namespace {

// dlsym returns an object pointer; the entry points are functions. POSIX guarantees the
// conversion; going through memcpy keeps -Wpedantic quiet about it.
template <typename Function>
bool resolve(void* handle, const char* name, Function* out, const std::string& path,
             std::string* error) {
  dlerror();
  void* symbol = dlsym(handle, name);
  const char* message = dlerror();
  if (symbol == nullptr || message != nullptr) {
    *error = path + ": the plug-in does not export the entry point " + name +
             (message != nullptr ? std::string(" (") + message + ")" : std::string());
    return false;
  }
  static_assert(sizeof(Function) == sizeof(void*), "function pointers are pointer-sized");
  std::memcpy(out, &symbol, sizeof(symbol));
  return true;
}

size_t indexOf(Resource resource) {
  return static_cast<size_t>(resource);
}

}  // namespace

std::optional<Plugin> Plugin::open(const std::string& path, std::string* error) {
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const char* message = dlerror();
    *error = "cannot load the plug-in: " + std::string(message != nullptr ? message : path);
    return std::nullopt;
  }
  Plugin plugin;
  plugin.handle_ = handle;  // from here on the plug-in closes it, also on failure
  plugin.kept_ = true;      // a half-resolved plug-in must not be torn down
  for (const Resource resource : kResources) {
    if (!resolve(handle, resourceName(resource), &plugin.entries_[indexOf(resource)], path,
                 error)) {
      dlclose(std::exchange(plugin.handle_, nullptr));
      return std::nullopt;
    }
  }
  if (!resolve(handle, "TearDown", &plugin.tearDown_, path, error)) {
    dlclose(std::exchange(plugin.handle_, nullptr));
    return std::nullopt;
  }
  plugin.path_ = path;
  plugin.kept_ = false;
  return plugin;
}

Plugin::Plugin(Plugin&& other) noexcept
    : path_(std::move(other.path_)),
      handle_(std::exchange(other.handle_, nullptr)),
      tearDown_(std::exchange(other.tearDown_, nullptr)),
      kept_(other.kept_) {
  std::memcpy(entries_, other.entries_, sizeof entries_);
  std::memset(other.entries_, 0, sizeof other.entries_);
}

Plugin& Plugin::operator=(Plugin&& other) noexcept {
  if (this != &other) {
    release();
    path_ = std::move(other.path_);
    handle_ = std::exchange(other.handle_, nullptr);
    tearDown_ = std::exchange(other.tearDown_, nullptr);
    kept_ = other.kept_;
    std::memcpy(entries_, other.entries_, sizeof entries_);
    std::memset(other.entries_, 0, sizeof other.entries_);
  }
  return *this;
}

Plugin::~Plugin() {
  release();
}

void Plugin::release() {
  if (handle_ == nullptr) return;
  if (kept_) {
    handle_ = nullptr;  // left loaded on purpose: the process ends with it
    return;
  }
  tearDown_();
  dlclose(std::exchange(handle_, nullptr));
}

int Plugin::call(Resource resource, const RequestTexts& texts) const {
  return entries_[indexOf(resource)](texts.options.c_str(), texts.parameters.c_str(),
                                     texts.extra.c_str(), texts.body.c_str());
}

ResourceFunction Plugin::entry(Resource resource) const {
  return entries_[indexOf(resource)];
}

void Plugin::tearDown() const {
  tearDown_();
}

}  // namespace host_core
