#include "terminal_input.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include <editline/readline.h>

namespace zarvo_host {
namespace {

TerminalInput* gActive = nullptr;

// One byte from `fd`, or -1 at the end of input or on an error other than an interruption by a
// signal that is not meant to stop reading.
int readByte(int fd) {
  unsigned char byte = 0;
  for (;;) {
    const ssize_t n = ::read(fd, &byte, 1);
    if (n == 1) return byte;
    if (n < 0 && errno == EINTR) continue;
    return -1;
  }
}

// The code point of the UTF-8 sequence that starts with `lead`, reading its continuation bytes
// from `fd`; `lead` itself when it starts no valid sequence.
int decodeUtf8(int lead, int fd) {
  int length = 0;
  int point = 0;
  if ((lead & 0xE0) == 0xC0) {
    length = 2;
    point = lead & 0x1F;
  } else if ((lead & 0xF0) == 0xE0) {
    length = 3;
    point = lead & 0x0F;
  } else if ((lead & 0xF8) == 0xF0) {
    length = 4;
    point = lead & 0x07;
  } else {
    return lead;
  }
  for (int i = 1; i < length; ++i) {
    const int next = readByte(fd);
    if (next < 0 || (next & 0xC0) != 0x80) return lead;
    point = (point << 6) | (next & 0x3F);
  }
  return point;
}

}  // namespace

TerminalInput::TerminalInput(std::function<std::string()> takeOutput,
                             std::function<bool()> interrupted)
    : takeOutput_(std::move(takeOutput)), interrupted_(std::move(interrupted)) {
  if (pipe2(pipe_, O_CLOEXEC | O_NONBLOCK) != 0) pipe_[0] = pipe_[1] = -1;
}

TerminalInput::~TerminalInput() {
  if (gActive == this) gActive = nullptr;
  for (int fd : pipe_) {
    if (fd >= 0) close(fd);
  }
}

void TerminalInput::install() {
  gActive = this;
}

void TerminalInput::wake() {
  if (pipe_[1] < 0) return;
  const char byte = 1;
  // A full pipe already holds a wake-up; nothing is lost by dropping this one.
  [[maybe_unused]] const ssize_t written = ::write(pipe_[1], &byte, 1);
}

void TerminalInput::showOutput() {
  char drain[64];
  while (::read(pipe_[0], drain, sizeof drain) > 0) {
  }
  const std::string text = takeOutput_();
  if (text.empty()) return;
  // Carriage return and erase-line remove the prompt and the partial line; libedit redraws both
  // below the output.
  std::fputs("\r\x1b[K", stdout);
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
  rl_forced_update_display();
}

int TerminalInput::key(int fd) {
  for (;;) {
    pollfd fds[2] = {{fd, POLLIN, 0}, {pipe_[0], POLLIN, 0}};
    const int ready = poll(fds, pipe_[0] >= 0 ? 2 : 1, -1);
    if (ready < 0) {
      if (errno == EINTR && !interrupted_()) continue;
      return -1;
    }
    if (pipe_[0] >= 0 && (fds[1].revents & POLLIN) != 0) showOutput();
    if ((fds[0].revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
      const int lead = readByte(fd);
      return lead < 0 ? -1 : decodeUtf8(lead, fd);
    }
  }
}

int TerminalInput::readKey(std::FILE* in) {
  const int fd = in != nullptr ? fileno(in) : STDIN_FILENO;
  if (gActive == nullptr) {
    const int lead = readByte(fd);
    return lead < 0 ? -1 : decodeUtf8(lead, fd);
  }
  return gActive->key(fd);
}

}  // namespace zarvo_host
