// The application objects: each owns one connection to the application-connection library.
//
// Design note
// -----------
// zarvo::Application is the root class: it holds the connection handle (null = not connected),
// closes the connection in its destructor and receives the library's callbacks through two
// virtual operations, onEvent and onDidDisconnect, which do nothing here.
// bridge::Application is the only concrete class: it remembers the name the page connected it
// under and turns every event into the page's "zarvoEvent". Objects are created and owned by the
// registry (bridge::ApplicationManager, application_manager.h).
//
// Threads: connect() and disconnect() run on the host's calling thread. onEvent and
// OnApplicationDidDisconnect run on whatever thread the library delivers them on; they read only
// the object they are given (its virtual table and `name`), take no lock and never touch the
// registry.
//
// Lifetime: destroying an object closes its connection; ZrvDisconnectApplication waits for an
// event delivery in flight, so the library must not deliver to an object after that call.
#ifndef BRIDGE_APPLICATION_H
#define BRIDGE_APPLICATION_H

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
  // {"app":name,"data":data,"type":type} to the host, on the calling thread.
  void onEvent(const std::string& type, const pocketjson::Value& data) override;

  std::string name;  //!< the registry key; written as "app" into every event
};

}  // namespace bridge

#endif  // BRIDGE_APPLICATION_H
