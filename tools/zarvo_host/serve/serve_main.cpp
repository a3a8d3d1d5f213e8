#include "serve/serve_main.h"

#include <pthread.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "host_core/description_file.h"
#include "host_core/event_log.h"
#include "host_core/instance_id.h"
#include "host_core/plugin.h"
#include "host_core/plugin_host.h"
#include "host_core/simulator_controls.h"
#include "host_core/static_files.h"
#include "serve/connections.h"
#include "serve/host_thread.h"
#include "serve/listener.h"
#include "serve/request_budget.h"
#include "serve/serve_context.h"
#include "serve/serve_options.h"

namespace zarvo_host::serve {
namespace {

constexpr int kExitOk = 0;
constexpr int kExitListen = 1;
constexpr int kExitInput = 2;

// How long connections get to end on their own at shutdown, and how long the loop may run in all.
constexpr std::chrono::milliseconds kGracefulClose{250};
constexpr std::chrono::milliseconds kLoopDeadline{600};
// The request budget, in request size limits (request_budget.h).
constexpr size_t kBudgetRequests = 8;

// Runs the loop until it has nothing left to do or is stopped; a handler that throws is
// reported and the loop goes on.
void runLoop(net::io_context& loop) {
  for (;;) {
    try {
      loop.run();
      return;
    } catch (const std::exception& error) {
      std::fprintf(stderr, "zarvo_host: serve: %s\n", error.what());
    }
  }
}

// Tells the streams of new events, at most one wake-up waiting on the loop at a time however many
// events arrive meanwhile.
class StreamWaker {
 public:
  StreamWaker(net::io_context& loop, Connections& connections)
      : loop_(loop), connections_(connections) {}
  void operator()() {
    if (pending_.exchange(true)) return;
    net::post(loop_, [this] {
      pending_ = false;
      connections_.wakeStreams();
    });
  }

 private:
  net::io_context& loop_;
  Connections& connections_;
  std::atomic<bool> pending_{false};
};

// Ends every connection, then the loop, within kLoopDeadline; returns once the loop thread has.
void stopLoop(net::io_context& loop, ServeContext& context, Listener& listener,
              std::thread& loopThread, std::future<void>& loopDone) {
  net::post(loop, [&] {
    context.shuttingDown = true;
    listener.stop();
    context.connections.shutdownAll();
  });
  if (loopDone.wait_for(kGracefulClose) != std::future_status::ready) {
    net::post(loop, [&] { context.connections.closeAll(); });
  }
  if (loopDone.wait_for(kLoopDeadline - kGracefulClose) != std::future_status::ready) loop.stop();
  loopThread.join();
}

struct Served {
  const ServeOptions& options;
  const sigset_t& signals;
  host_core::Plugin& plugin;
  std::string applicationsText;
};

int serveUntilSignal(const Served& served) {
  const ServeOptions& options = served.options;
  host_core::EventLog events(options.limits.eventBufferBytes, host_core::newInstanceId());
  host_core::PluginHost pluginHost(served.plugin, events);
  const host_core::SimulatorControls controls(served.applicationsText, options.limits);
  const host_core::StaticFiles files(options.page.empty() ? options.web + "/console" : options.page,
                                     options.web + "/zarvo");
  Connections connections(options.rules.maxConnections, options.rules.maxStreams);
  RequestBudget budget(kBudgetRequests * options.limits.requestBytes);
  SocketBatches batches(events, options.limits.eventBatchBytes);
  HostThread hostThread;
  HostThread controlThread;
  auto loop = std::make_unique<net::io_context>(1);
  ServeContext context{*loop,      options.limits, options.rules, events,
                       pluginHost, hostThread,     controlThread, controls,
                       files,      connections,    budget,        batches};

  tcp::acceptor acceptor(*loop);
  std::string problem;
  if (!listenOnLoopback(acceptor, options.port, &problem)) {
    std::fprintf(stderr, "zarvo_host: cannot listen on 127.0.0.1:%d: %s\n", options.port,
                 problem.c_str());
    return kExitListen;
  }
  context.port = acceptor.local_endpoint().port();
  auto listener = std::make_shared<Listener>(context, std::move(acceptor));
  listener->start();
  StreamWaker waker(*loop, connections);
  const int token = events.addListener([&waker](uint64_t, const std::string&) { waker(); });

  std::promise<void> loopEnded;
  std::future<void> loopDone = loopEnded.get_future();
  std::thread loopThread([&] {
    runLoop(*loop);
    loopEnded.set_value();
  });
  std::printf("serving http://127.0.0.1:%d/\n", context.port);
  std::fflush(stdout);

  int signal = 0;
  sigwait(&served.signals, &signal);
  stopLoop(*loop, context, *listener, loopThread, loopDone);
  events.removeListener(token);
  controlThread.finish();
  hostThread.finish([&pluginHost] { pluginHost.tearDown(); });
  // What the loop still holds (closed sessions, their buffers) goes while the registry exists.
  listener.reset();
  loop.reset();
  return kExitOk;
}

}  // namespace

int runServe(const ServeOptions& options) {
  std::string problem;
  // Blocked before any thread starts (the application library starts its own when the
  // description loads), so every thread inherits the mask and only sigwait receives the two.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  // A client that closes its connection while an answer is written must not end the process.
  std::signal(SIGPIPE, SIG_IGN);

  std::string applicationsText;
  if (!host_core::loadDescription(options.applications, &applicationsText, &problem)) {
    std::fprintf(stderr, "zarvo_host: %s\n", problem.c_str());
    return kExitInput;
  }
  std::optional<host_core::Plugin> plugin = host_core::Plugin::open(options.plugin, &problem);
  if (!plugin) {
    std::fprintf(stderr, "zarvo_host: %s\n", problem.c_str());
    return kExitInput;
  }
  return serveUntilSignal(Served{options, signals, *plugin, std::move(applicationsText)});
}

}  // namespace zarvo_host::serve
