#include "quit_signals.h"

#include <fcntl.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <cerrno>
#include <csignal>

namespace zarvo_view {
namespace {

int pipeEnds[2] = {-1, -1};

void onSignal(int number) {
  const int saved = errno;
  const auto byte = static_cast<unsigned char>(number);
  // A full pipe means a quit is already pending; losing this byte changes nothing.
  [[maybe_unused]] const ssize_t written = write(pipeEnds[1], &byte, 1);
  errno = saved;
}

}  // namespace

QuitSignals::QuitSignals(QObject* parent) : QObject(parent) {}

QuitSignals::~QuitSignals() {
  std::signal(SIGINT, SIG_DFL);
  std::signal(SIGTERM, SIG_DFL);
}

bool QuitSignals::install() {
  if (pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0) return false;
  notifier_ = new QSocketNotifier(pipeEnds[0], QSocketNotifier::Read, this);
  connect(notifier_, &QSocketNotifier::activated, this, &QuitSignals::readPipe);
  struct sigaction action {};
  action.sa_handler = &onSignal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  return sigaction(SIGINT, &action, nullptr) == 0 && sigaction(SIGTERM, &action, nullptr) == 0;
}

void QuitSignals::readPipe() {
  unsigned char byte = 0;
  while (read(pipeEnds[0], &byte, 1) == 1) emit received(byte);
}

}  // namespace zarvo_view
