// The plug-in file, loaded as a web-view host loads it: dlopen, five entry points, dlclose.
//
// Design note
// -----------
// A host opens the plug-in with dlopen instead of linking it, so the tools exercise the shipped
// file and its exported symbols, and --plugin can point them at any build. The plug-in's own
// dependencies (the host library and the application library) resolve by soname to the copies
// this executable already has loaded, so the sinks and the application description a host sets
// up are the ones the plug-in talks to.
//
// Ownership: a Plugin owns the loaded file and is move-only. Its destructor calls TearDown
// (closing every connection; the application library makes no callback for a connection after
// its disconnect has returned) and then unloads the file, so no code of the plug-in can run
// afterwards. Destroy the host's sinks (HostSinks) before the Plugin; a host that declares the
// Plugin first and the sinks after gets that order from the language. `keepLoaded()` opts out
// of both steps, for a host whose process ends right after and which has already torn down as
// its own script said.
//
// Threads: the entry points and TearDown must be called from one thread at a time (the plug-in
// takes no lock); which thread is the host's choice. Destruction happens when no thread calls
// any more. Failure: `open` returns nothing, with a message naming the file and the problem.
#ifndef ZARVO_HOST_CORE_PLUGIN_H
#define ZARVO_HOST_CORE_PLUGIN_H

#include <optional>
#include <string>

#include "host_core/resource.h"

namespace host_core {

// The signature shared by the four resource entry points: options, parameters, extra, body.
using ResourceFunction = int (*)(const char*, const char*, const char*, const char*);
using TearDownFunction = void (*)();

class Plugin {
 public:
  // Opens `path` (RTLD_NOW, so an unresolved symbol fails here) and resolves the five entry
  // points. Nothing, with `error` set, when the file cannot be opened or lacks an entry point.
  static std::optional<Plugin> open(const std::string& path, std::string* error);

  Plugin(Plugin&& other) noexcept;
  Plugin& operator=(Plugin&& other) noexcept;
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;
  // TearDown, then dlclose; nothing after keepLoaded() or a move.
  ~Plugin();

  // Calls the entry point of `resource` with four NUL-terminated texts; returns its promise id.
  int call(Resource resource, const RequestTexts& texts) const;
  // The entry point itself, for a host that passes its own pointers.
  ResourceFunction entry(Resource resource) const;
  // Calls the plug-in's TearDown: every application is disconnected; the plug-in stays usable.
  void tearDown() const;
  // The destructor will neither tear down nor unload.
  void keepLoaded() { kept_ = true; }
  // The path that was opened.
  const std::string& path() const { return path_; }

 private:
  Plugin() = default;
  void release();

  std::string path_;
  void* handle_ = nullptr;
  ResourceFunction entries_[4] = {};
  TearDownFunction tearDown_ = nullptr;
  bool kept_ = false;
};

}  // namespace host_core

#endif  // ZARVO_HOST_CORE_PLUGIN_H
