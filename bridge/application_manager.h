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

#include "pocketjson/value.h"
#include "zarvo_x64.h"

namespace zarvo {

// Root of the application objects: owns one connection handle (null = not connected). The handle
// is the first argument of every library call made for this application.
class Application {
 public:
  Application() = default;
  Application(const Application&) = delete;
  Application& operator=(const Application&) = delete;
  // Closes the connection, if any (disconnect()).
  virtual ~Application();

  // An event the application raised; does nothing here (bridge::Application dispatches it).
  // Called on whatever thread the library delivers events on.
  virtual void onEvent(const std::string& type, const pocketjson::Value& data);
  // The library reports the connection gone; does nothing, deliberately: the object, its handle
  // and its registry entry stay as they are until the page disconnects the name.
  virtual void onDidDisconnect();

  // Connects `name` for `clientName` (closing a previous connection first), then registers the
  // did-disconnect callback unconditionally, so after a refused connection the library is handed
  // a null handle. Afterwards `handle` is null exactly when the connection was refused.
  void connect(const std::string& name, const std::string& clientName);
  // Closes the connection if there is one and clears `handle`; never fails.
  void disconnect();

  ZrvApplicationHandle handle = nullptr;  //!< the library's connection handle, or null
};

// The did-disconnect callback registered for every connection. `context` is the application
// object; a null context is ignored. Calls the object's onDidDisconnect() and nothing else.
void OnApplicationDidDisconnect(void* context);

}  // namespace zarvo

namespace bridge {

// The only concrete application class: remembers the name it was connected under.
class Application : public zarvo::Application {
 public:
  explicit Application(const std::string& applicationName) : name(applicationName) {}
  // Closes the connection while the object is still whole. The library may be delivering an
  // event to this object on its own thread right now; ZrvDisconnectApplication waits for that
  // delivery, and it must find onEvent and `name` intact. Left to the base destructor, the close
  // would come after this part is gone, and an event in flight would reach the base's onEvent
  // (or freed memory). The library sees the same single ZrvDisconnectApplication either way.
  ~Application() override { disconnect(); }

  // Dispatches the script event "zarvoEvent" with the compact text
  // {"app":name,"data":data,"type":type} to the host, on the calling thread. Defined with the
  // event resource (zarvo_application_event.cpp), beside zarvo::OnEvent.
  void onEvent(const std::string& type, const pocketjson::Value& data) override;

  std::string name;  //!< the registry key; written as "app" into every event
};

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

  // The client name derived from an executable path: the file name without its last extension.
  // A '/' or '.' at position 0 counts as not found, so "/viewer" and "viewer" give "" and
  // "/usr/bin/.hidden" gives ".hidden"; "/usr/lib/app.beta.run" gives "app.beta".
  static std::string clientNameFromPath(const std::string& executablePath);

 private:
  std::map<std::string, zarvo::Application*> applications_;
};

}  // namespace bridge

#endif  // BRIDGE_APPLICATION_MANAGER_H
