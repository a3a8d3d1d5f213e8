#include "serve/serve_main.h"

#include <httplib.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>

#include "plugin.h"
#include "serve/event_ring.h"
#include "serve/host_thread.h"
#include "serve/http_routes.h"
#include "serve/plugin_calls.h"
#include "serve/serve_options.h"
#include "serve/static_files.h"
#include "zarvo_simulator.h"

namespace zarvo_host::serve {
namespace {

constexpr int kExitOk = 0;
constexpr int kExitListen = 1;
constexpr int kExitInput = 2;

// Workers: one per possible event stream plus as many again for calls and files, so open
// streams never starve the calls.
constexpr size_t kWorkerThreads = static_cast<size_t>(kMaxEventStreams) * 2;
// A client that sends nothing for this long loses its worker; an idle keep-alive connection
// is closed after kKeepAliveSeconds.
constexpr time_t kReadTimeoutSeconds = 5;
constexpr time_t kWriteTimeoutSeconds = 5;
constexpr time_t kKeepAliveSeconds = 5;
constexpr size_t kKeepAliveRequests = 100;
constexpr std::chrono::milliseconds kPollInterval{1};

// cpp-httplib listens with a backlog of 5, so a burst of connections (a page loading its
// modules, a test opening a hundred sockets) would overflow the accept queue and some would be
// dropped. Calling listen again on the bound socket raises the backlog.
class Server : public httplib::Server {
 public:
  void widenBacklog() { ::listen(svr_sock_, SOMAXCONN); }
};

// The description's text, for GET /simulator/applications, and loading it into the simulator.
bool loadApplications(const std::string& path, std::string* text) {
  std::ifstream in(path, std::ios::in | std::ios::binary);
  std::ostringstream content;
  if (in) content << in.rdbuf();
  char error[1024] = {0};
  if (ZrvSimLoadDescription(path.c_str(), error, sizeof error) == 0) {
    std::fprintf(stderr, "zarvo_host: %s\n",
                 error[0] != '\0' ? error : (path + ": cannot load the description").c_str());
    return false;
  }
  *text = content.str();
  return true;
}

void configure(httplib::Server& server) {
  server.new_task_queue = [] { return new httplib::ThreadPool(kWorkerThreads); };
  server.set_read_timeout(kReadTimeoutSeconds, 0);
  server.set_write_timeout(kWriteTimeoutSeconds, 0);
  server.set_keep_alive_timeout(kKeepAliveSeconds);
  server.set_keep_alive_max_count(kKeepAliveRequests);
  // Answers go out as soon as they are written: with Nagle's algorithm on, the second answer on a
  // kept-alive connection waits for the client's delayed acknowledgement (about 40 ms).
  server.set_tcp_nodelay(true);
  // Only SO_REUSEADDR: cpp-httplib's default adds SO_REUSEPORT, which would let a second server
  // share a port that is in use instead of failing to listen on it.
  server.set_socket_options([](socket_t sock) {
    const int yes = 1;
    setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });
}

int serveUntilSignal(const ServeOptions& options, const sigset_t& signals, Plugin& plugin,
                     const std::string& applicationsText) {
  EventRing ring(options.limits.eventBufferBytes);
  HostThread host;
  PluginCalls calls(plugin, host);
  calls.attach(ring);
  const std::string pageRoot = options.page.empty() ? options.web + "/console" : options.page;
  ServeContext context(calls, ring, StaticFiles(pageRoot, options.web + "/zarvo"));
  context.applicationsText = applicationsText;
  context.maxBody = options.limits.requestBytes;

  Server server;
  configure(server);
  installRoutes(server, context);
  const bool bound = options.port == 0 ? (context.port = server.bind_to_any_port("127.0.0.1")) > 0
                                       : server.bind_to_port("127.0.0.1", options.port);
  if (!bound) {
    // cpp-httplib does not keep the system's reason, so none is claimed here.
    std::fprintf(stderr, "zarvo_host: cannot listen on 127.0.0.1:%d\n", options.port);
    calls.detach();
    return kExitListen;
  }
  if (options.port != 0) context.port = options.port;
  server.widenBacklog();
  std::atomic<bool> listenerDone{false};
  std::thread listener([&] {
    server.listen_after_bind();
    listenerDone = true;
  });
  // Server::stop does nothing before the accept loop runs, so wait for it first.
  while (!server.is_running() && !listenerDone) std::this_thread::sleep_for(kPollInterval);
  std::printf("serving http://127.0.0.1:%d/\n", context.port);
  std::fflush(stdout);

  int signal = 0;
  sigwait(&signals, &signal);
  ring.close();
  while (!listenerDone) {
    server.stop();
    std::this_thread::sleep_for(kPollInterval);
  }
  listener.join();
  calls.tearDown();
  host.stop();
  calls.detach();
  plugin.unload();
  return kExitOk;
}

}  // namespace

int runServe(const ServeOptions& options) {
  std::string problem;
  // Blocked before any thread starts, so every thread inherits the mask and only sigwait below
  // receives the two signals.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  // A client that closes its connection while an answer is written must not end the process.
  std::signal(SIGPIPE, SIG_IGN);

  std::string applicationsText;
  if (!loadApplications(options.applications, &applicationsText)) return kExitInput;
  Plugin plugin;
  if (!plugin.load(options.plugin, &problem)) {
    std::fprintf(stderr, "zarvo_host: %s\n", problem.c_str());
    return kExitInput;
  }
  return serveUntilSignal(options, signals, plugin, applicationsText);
}

}  // namespace zarvo_host::serve
