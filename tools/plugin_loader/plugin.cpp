#include "plugin.h"

#include <dlfcn.h>

#include <cstring>

namespace zarvo_tools {
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

}  // namespace

bool Plugin::load(const std::string& path, std::string* error) {
  void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const char* message = dlerror();
    *error = "cannot load the plug-in: " + std::string(message != nullptr ? message : path);
    return false;
  }
  if (!resolve(handle, "ZarvoApplication", &application_, path, error) ||
      !resolve(handle, "ZarvoApplicationBridge", &bridge_, path, error) ||
      !resolve(handle, "ZarvoApplicationEvent", &event_, path, error) ||
      !resolve(handle, "ZarvoApplicationCustom", &custom_, path, error) ||
      !resolve(handle, "TearDown", &tearDown_, path, error)) {
    application_ = bridge_ = event_ = custom_ = nullptr;
    tearDown_ = nullptr;
    dlclose(handle);
    return false;
  }
  path_ = path;
  handle_ = handle;
  return true;
}

void Plugin::unload() {
  if (handle_ == nullptr) return;
  application_ = bridge_ = event_ = custom_ = nullptr;
  tearDown_ = nullptr;
  dlclose(handle_);
  handle_ = nullptr;
}

ResourceFunction Plugin::resource(const std::string& resource) const {
  if (resource == "ZarvoApplication") return application_;
  if (resource == "ZarvoApplicationBridge") return bridge_;
  if (resource == "ZarvoApplicationEvent") return event_;
  if (resource == "ZarvoApplicationCustom") return custom_;
  return nullptr;
}

}  // namespace zarvo_tools
