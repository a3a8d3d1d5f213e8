// Every open connection of the web host: how many there are, which are idle, which carry an
// event stream, and how they all end at shutdown.
//
// Design note
// -----------
// A connection costs a socket and a little memory, never a thread, but the number is still
// bounded (ConnectionRules::maxConnections). When a new connection arrives at the bound, the one
// that has waited longest for its next request (an idle keep-alive connection, holding no
// request) is closed to make room: a browser reconnects at once when it needs one, while an
// idle socket kept open by someone else is the cheapest thing to give up. Only when no connection
// is idle is the new one refused (503). A connection that is sending a request cannot hold its
// place for long either: its header and body have deadlines.
//
// Event streams (server-sent events and WebSockets) are counted separately against
// ConnectionRules::maxStreams; each keeps a read pending, so a stream whose client has gone
// leaves this registry the moment the close arrives.
//
// Threads: the event loop's only. Lifetime: a Connection registers in its constructor and leaves
// in its destructor; the registry never owns one.
#ifndef ZARVO_HOST_SERVE_CONNECTIONS_H
#define ZARVO_HOST_SERVE_CONNECTIONS_H

#include <cstddef>
#include <list>
#include <unordered_set>

namespace zarvo_host::serve {

class Connection {
 public:
  virtual ~Connection() = default;
  // Ends the connection at once (its pending operations complete with an error). Idempotent.
  virtual void close() = 0;
  // Ends it for shutdown: a WebSocket first says so (close code 1001). Defaults to close().
  virtual void shutdown() { close(); }
  // For event streams: events newer than the stream's position may exist.
  virtual void wake() {}

 private:
  friend class Connections;
  bool idle_ = false;
  std::list<Connection*>::iterator idlePosition_;
};

class Connections {
 public:
  Connections(size_t maxConnections, size_t maxStreams)
      : maxConnections_(maxConnections), maxStreams_(maxStreams) {}
  Connections(const Connections&) = delete;
  Connections& operator=(const Connections&) = delete;

  // Before a new connection is served: true when there is room, if need be after closing the
  // connection that has been idle longest; false when every connection is busy.
  bool makeRoom();
  void enter(Connection* connection);
  void leave(Connection* connection);
  // Marks `connection` idle (waiting for a request, holding none) or busy again.
  void setIdle(Connection* connection, bool idle);

  // Counts `stream` as an event stream; false when maxStreams are open already.
  bool enterStream(Connection* stream);
  void leaveStream(Connection* stream);
  // Tells every event stream that new events may exist.
  void wakeStreams();

  // Ends every connection (shutdown()); `closeAll` ends those still open at once.
  void shutdownAll();
  void closeAll();

  size_t count() const { return live_.size(); }
  size_t streamCount() const { return streams_.size(); }
  size_t maxConnections() const { return maxConnections_; }
  size_t maxStreams() const { return maxStreams_; }

 private:
  const size_t maxConnections_;
  const size_t maxStreams_;
  std::unordered_set<Connection*> live_;
  std::unordered_set<Connection*> streams_;
  std::list<Connection*> idle_;  // longest idle first
};

}  // namespace zarvo_host::serve

#endif  // ZARVO_HOST_SERVE_CONNECTIONS_H
