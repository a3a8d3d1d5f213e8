// The application registry and the application objects that own the connections.
//
// Design note
// -----------
// bridge::ApplicationManager is the one process-wide registry (Shared()) that maps the name the
// page chose to the application object connected under it. Names are compared byte for byte
// (std::less<std::string>): "Viewer" and "viewer" are two entries, and nothing is trimmed.
//
// Ownership: the registry owns every object it maps. Objects are created only by connect(),
// always as bridge::Application and always with a non-null handle when they are inserted; they
// are destroyed only by disconnect() and clear(), and destroying an object closes its connection.
// Lookups hand out plain, non-owning pointers that stay valid until the name is disconnected or
// the registry is cleared. The registry's own destructor, run at process exit, frees only its
// map: it destroys no object and closes nothing, so a host that exits without TearDown leaves
// the connections to the application library. That asymmetry with clear() is intended.
//
// Threads: no locks. The registry is used only from the thread on which the host calls the
// entry points; only the first construction inside Shared() is synchronised (function-local
// static). The library may call zarvo::OnApplicationDidDisconnect and zarvo::OnEvent from its own
// threads; both read only the object they are given (its virtual table and `name`), never the
// registry. Giving onDidDisconnect real work would require synchronising with the registry.
//
// Failure: connect() reports every failure as false (an already-connected name and a refused
// connection look the same); disconnect() fails only for an unknown name. The library's results
// for disconnecting and for registering the did-disconnect callback are ignored. Memory
// exhaustion propagates as std::bad_alloc.
#ifndef BRIDGE_APPLICATION_MANAGER_H
#define BRIDGE_APPLICATION_MANAGER_H

#include <map>
#include <string>

#include "bridge/application.h"

namespace bridge {

class ApplicationManager {
 public:
  // The process-wide registry, created empty on first use and destroyed at process exit.
  static ApplicationManager& Shared();

  ApplicationManager() = default;
  ApplicationManager(const ApplicationManager&) = delete;
  ApplicationManager& operator=(const ApplicationManager&) = delete;
  // Frees the map only; destroys no object and closes no connection (see the design note).
  ~ApplicationManager() = default;

  // Connects a new application under `name`; true when the registry holds a new entry
  // afterwards. False when `name` is already registered (then nothing at all is called) or the
  // library refused the connection (then the new object is destroyed at once).
  bool connect(const std::string& name);
  // Destroys the object of `name` (closing its connection), then removes the entry; false only
  // when there is no such entry, in which case nothing is called.
  bool disconnect(const std::string& name);
  // Whether an entry `name` exists (a connection the library reported lost still counts).
  bool contains(const std::string& name) const;
  // The object of `name`, or null. Valid until `name` is disconnected or the registry cleared.
  zarvo::Application* applicationWithName(const std::string& name) const;
  // Destroys every object in ascending name order (each closes its connection in that order),
  // then empties the registry.
  void clear();

  // The client name that connect() uses for an executable path: fs::client_name_of, where the
  // rule is written (fs/client_name.h).
  static std::string clientNameFromPath(const std::string& executablePath);

 private:
  std::map<std::string, zarvo::Application*> applications_;
};

}  // namespace bridge

#endif  // BRIDGE_APPLICATION_MANAGER_H
