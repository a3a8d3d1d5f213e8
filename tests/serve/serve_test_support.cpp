#include "serve_test_support.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace serve_test {
namespace {

constexpr int kReceiveTimeoutSeconds = 20;

std::string lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

void setReceiveTimeout(int fd) {
  timeval timeout{};
  timeout.tv_sec = kReceiveTimeoutSeconds;
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
  setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
}

// Parses the status line and headers in `head` (without the blank line).
void parseHead(const std::string& head, RawResponse* out) {
  std::istringstream lines(head);
  std::string line;
  std::getline(lines, line);
  if (line.size() >= 12) out->status = std::atoi(line.c_str() + 9);
  while (std::getline(lines, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    const size_t colon = line.find(':');
    if (colon == std::string::npos) continue;
    size_t value = colon + 1;
    while (value < line.size() && line[value] == ' ') ++value;
    out->headers[lower(line.substr(0, colon))] = line.substr(value);
  }
}

// Reads until `buffer` holds the end of the header; false when the connection ends first.
bool readHead(int fd, std::string* buffer, size_t* end) {
  for (;;) {
    *end = buffer->find("\r\n\r\n");
    if (*end != std::string::npos) return true;
    char chunk[4096];
    const ssize_t n = recv(fd, chunk, sizeof chunk, 0);
    if (n <= 0) return false;
    buffer->append(chunk, static_cast<size_t>(n));
  }
}

}  // namespace

std::string jsonString(const std::string& text) {
  std::string out = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') {
      out += '\\';
      out += c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
      out += escape;
    } else {
      out += c;
    }
  }
  return out + "\"";
}

std::string resourceBody(const std::string& method, const std::string& parameters,
                         const std::string& body) {
  std::string out = "{\"options\":" + jsonString("{\"method\":\"" + method + "\"}") +
                    ",\"parameters\":" + jsonString(parameters);
  if (!body.empty()) out += ",\"body\":" + jsonString(body);
  return out + "}";
}

bool subscribeViewerToTicks(HttpClient& client) {
  auto connected =
      client.post("/bridge/ZarvoApplication", resourceBody("post", "{\"name\":\"viewer\"}"));
  auto subscribed = client.post("/bridge/ZarvoApplicationEvent",
                                resourceBody("post", "{\"name\":\"viewer\",\"type\":\"tick\"}"));
  return connected && connected->status == 200 && subscribed && subscribed->status == 200;
}

bool raiseTicks(HttpClient& client, int first, int count) {
  for (int n = first; n < first + count; ++n) {
    auto result = client.post("/simulator/raise",
                              "{\"app\":\"viewer\",\"type\":\"tick\",\"payload\":\"{\\\"n\\\":" +
                                  std::to_string(n) + "}\"}");
    if (!result || result->status != 200) return false;
  }
  return true;
}

std::string hostPath() {
  const char* other = std::getenv("ZARVO_SERVE_TEST_HOST_OVERRIDE");
  return other != nullptr && *other != '\0' ? other : ZARVO_SERVE_TEST_HOST;
}
std::string applicationsPath() {
  return ZARVO_SERVE_TEST_APPS;
}

std::string scratchFolder(const std::string& name) {
  const std::string path = std::string(ZARVO_SERVE_TEST_SCRATCH) + "/" + name;
  const std::string command = "rm -rf '" + path + "' && mkdir -p '" + path + "'";
  if (std::system(command.c_str()) != 0) throw std::runtime_error("cannot make " + path);
  return path;
}

std::string readFile(const std::string& path) {
  std::ifstream in(path, std::ios::in | std::ios::binary);
  std::ostringstream content;
  content << in.rdbuf();
  return content.str();
}

void writeFile(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::out | std::ios::binary | std::ios::trunc);
  out << text;
}

ServeProcess::ServeProcess(const std::vector<std::string>& args,
                           const std::map<std::string, std::string>& env) {
  static int counter = 0;
  errPath_ = std::string(ZARVO_SERVE_TEST_SCRATCH) + "/stderr-" + std::to_string(getpid()) + "-" +
             std::to_string(counter++) + ".txt";
  int out[2];
  if (pipe(out) != 0) throw std::runtime_error("pipe");
  std::vector<std::string> words = {hostPath(), "serve",          "--port",
                                    "0",        "--applications", applicationsPath()};
  words.insert(words.end(), args.begin(), args.end());
  pid_ = fork();
  if (pid_ == 0) {
    for (const auto& [name, value] : env) setenv(name.c_str(), value.c_str(), 1);
    dup2(out[1], STDOUT_FILENO);
    const int err = ::open(errPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (err >= 0) dup2(err, STDERR_FILENO);
    close(out[0]);
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
  }
  close(out[1]);
  stdoutFd_ = out[0];
  pollfd wait{stdoutFd_, POLLIN, 0};
  char c = 0;
  while (poll(&wait, 1, kReceiveTimeoutSeconds * 1000) > 0 && read(stdoutFd_, &c, 1) == 1 &&
         c != '\n') {
    firstLine_ += c;
  }
  const std::string prefix = "serving http://127.0.0.1:";
  if (firstLine_.compare(0, prefix.size(), prefix) == 0) {
    port_ = std::atoi(firstLine_.c_str() + prefix.size());
  }
}

ServeProcess::~ServeProcess() {
  if (pid_ > 0) stop(SIGKILL);
  if (stdoutFd_ >= 0) close(stdoutFd_);
  // A sanitizer report from the server fails the test that started it, whatever it checked.
  const std::string errors = errorOutput();
  for (const char* mark : {"Sanitizer", "runtime error:"}) {
    EXPECT_EQ(errors.find(mark), std::string::npos) << errors;
  }
}

int ServeProcess::stop(int signal) {
  if (pid_ <= 0) return -1;
  kill(pid_, signal);
  int status = 0;
  waitpid(pid_, &status, 0);
  pid_ = -1;
  if (WIFEXITED(status)) return WEXITSTATUS(status);
  return 128 + WTERMSIG(status);
}

int ServeProcess::stopWithin(int signal, int seconds) {
  if (pid_ <= 0) return -1;
  kill(pid_, signal);
  int status = 0;
  for (int waited = 0; waited < seconds * 100; ++waited) {
    if (waitpid(pid_, &status, WNOHANG) == pid_) {
      pid_ = -1;
      return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    usleep(10000);
  }
  stop(SIGKILL);
  return -1;
}

std::string ServeProcess::errorOutput() {
  return readFile(errPath_);
}

int connectTo(int port) {
  const int fd = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  setReceiveTimeout(fd);
  if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    close(fd);
    return -1;
  }
  return fd;
}

bool sendAll(int fd, const std::string& text) {
  size_t sent = 0;
  while (sent < text.size()) {
    const ssize_t n = send(fd, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
    if (n <= 0) return false;
    sent += static_cast<size_t>(n);
  }
  return true;
}

namespace {

// Reads until `buffer` holds at least `size` bytes; false when the connection ends first.
bool fillTo(int fd, std::string* buffer, size_t size) {
  while (buffer->size() < size) {
    char chunk[65536];
    const ssize_t n = recv(fd, chunk, sizeof chunk, 0);
    if (n <= 0) return false;
    buffer->append(chunk, static_cast<size_t>(n));
  }
  return true;
}

// Decodes a chunked body from `*raw` (reading more from `fd` as needed) into `body`; what
// follows the body stays in `*raw`.
bool readChunked(int fd, std::string* rawText, std::string* body) {
  std::string& raw = *rawText;
  for (;;) {
    size_t lineEnd = 0;
    while ((lineEnd = raw.find("\r\n")) == std::string::npos) {
      if (!fillTo(fd, &raw, raw.size() + 1)) return false;
    }
    const size_t size = std::strtoull(raw.substr(0, lineEnd).c_str(), nullptr, 16);
    if (!fillTo(fd, &raw, lineEnd + 2 + size + 2)) return false;
    body->append(raw, lineEnd + 2, size);
    raw.erase(0, lineEnd + 2 + size + 2);
    if (size == 0) return true;
  }
}

}  // namespace

std::string RawResponse::get_header_value(const std::string& name) const {
  const auto found = headers.find(lower(name));
  return found == headers.end() ? std::string() : found->second;
}

bool RawResponse::has_header(const std::string& name) const {
  return headers.count(lower(name)) != 0;
}

RawResponse readResponse(int fd, bool head) {
  std::string pending;
  return readResponse(fd, &pending, head);
}

RawResponse readResponse(int fd, std::string* pending, bool head) {
  RawResponse response;
  std::string buffer = std::move(*pending);
  pending->clear();
  size_t end = 0;
  do {
    buffer.erase(0, end == 0 ? 0 : end + 4);
    if (!readHead(fd, &buffer, &end)) return response;
    response = RawResponse();
    parseHead(buffer.substr(0, end), &response);
  } while (response.status == 100);  // an interim answer; the real one follows
  std::string rest = buffer.substr(end + 4);
  const bool bodyless = head || response.status == 204 || response.status == 304;
  if (bodyless) {
    response.complete = true;
    *pending = std::move(rest);
  } else if (response.get_header_value("transfer-encoding") == "chunked") {
    response.complete = readChunked(fd, &rest, &response.body);
    *pending = std::move(rest);
  } else if (response.has_header("content-length")) {
    const size_t wanted =
        std::strtoull(response.get_header_value("content-length").c_str(), nullptr, 10);
    response.complete = fillTo(fd, &rest, wanted);
    response.body = rest.substr(0, wanted);
    if (rest.size() > wanted) *pending = rest.substr(wanted);
  } else {
    fillTo(fd, &rest, std::string::npos);  // until the connection ends
    response.body = rest;
    response.complete = true;
  }
  return response;
}

bool connectionEnds(int fd) {
  char byte = 0;
  return recv(fd, &byte, 1, 0) == 0;
}

namespace {

long statusField(pid_t pid, const std::string& field) {
  std::istringstream lines(readFile("/proc/" + std::to_string(pid) + "/status"));
  std::string line;
  while (std::getline(lines, line)) {
    if (line.compare(0, field.size() + 1, field + ":") == 0) {
      return std::atol(line.c_str() + field.size() + 1);
    }
  }
  return -1;
}

}  // namespace

long residentKiB(pid_t pid) {
  return statusField(pid, "VmRSS");
}

long peakResidentKiB(pid_t pid) {
  return statusField(pid, "VmHWM");
}

HttpClient::HttpClient(int port) : port_(port) {}

HttpClient::~HttpClient() {
  if (fd_ >= 0) close(fd_);
}

void HttpClient::setReceiveTimeout(int seconds) {
  timeoutSeconds_ = seconds;
}

Result HttpClient::get(const std::string& path, const Headers& headers) {
  return send("GET", path, "", "", headers);
}

Result HttpClient::head(const std::string& path) {
  return send("HEAD", path, "", "", {});
}

Result HttpClient::post(const std::string& path, const std::string& body, const std::string& type,
                        const Headers& headers) {
  return send("POST", path, body, type, headers);
}

Result HttpClient::put(const std::string& path, const std::string& body, const std::string& type) {
  return send("PUT", path, body, type, {});
}

Result HttpClient::send(const std::string& method, const std::string& path, const std::string& body,
                        const std::string& type, const Headers& headers) {
  std::string request =
      method + " " + path + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port_) + "\r\n";
  for (const auto& [name, value] : headers) request += name + ": " + value + "\r\n";
  if (!body.empty() || method == "POST" || method == "PUT") {
    request +=
        "Content-Type: " + type + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n";
  }
  request += "\r\n" + body;
  // A kept-alive connection the server has closed meanwhile fails at once; try a new one.
  for (int attempt = 0; attempt < 2; ++attempt) {
    if (fd_ < 0) fd_ = connectTo(port_);
    if (fd_ < 0) return Result();
    timeval timeout{};
    timeout.tv_sec = timeoutSeconds_;
    setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    RawResponse response;
    if (sendAll(fd_, request)) response = readResponse(fd_, method == "HEAD");
    if (!response.complete || response.get_header_value("connection") == "close") {
      close(fd_);
      fd_ = -1;
    }
    if (response.complete) return Result(std::move(response));
  }
  return Result();
}

RawResponse rawExchange(int port, const std::string& request) {
  const int fd = connectTo(port);
  if (fd < 0) return RawResponse();
  sendAll(fd, request);
  RawResponse response = readResponse(fd);
  close(fd);
  return response;
}

SseClient::SseClient(int port, const std::string& target, const std::string& extraHeaders,
                     int receiveBuffer) {
  fd_ = socket(AF_INET, SOCK_STREAM, 0);
  if (receiveBuffer > 0) {
    setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
  }
  setReceiveTimeout(fd_);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) return;
  sendAll(fd_, "GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
                   "\r\nAccept: text/event-stream\r\n" + extraHeaders + "\r\n");
  size_t end = 0;
  if (!readHead(fd_, &raw_, &end)) return;
  parseHead(raw_.substr(0, end), &head_);
  raw_.erase(0, end + 4);
  if (head_.status != 200) {
    // A refusal: read its whole body.
    const auto length = head_.headers.find("content-length");
    const size_t wanted =
        length != head_.headers.end() ? std::strtoull(length->second.c_str(), nullptr, 10) : 0;
    char chunk[4096];
    ssize_t n = 1;
    while (raw_.size() < wanted && (n = recv(fd_, chunk, sizeof chunk, 0)) > 0) {
      raw_.append(chunk, static_cast<size_t>(n));
    }
    head_.body = raw_;
    ended_ = true;
  }
}

SseClient::~SseClient() {
  if (fd_ >= 0) close(fd_);
}

// Moves whole chunks from raw_ to decoded_, reading more when none is complete.
bool SseClient::fill() {
  for (;;) {
    const size_t lineEnd = raw_.find("\r\n");
    if (lineEnd != std::string::npos) {
      const size_t size = std::strtoull(raw_.substr(0, lineEnd).c_str(), nullptr, 16);
      if (size == 0) {
        ended_ = true;
        return false;
      }
      if (raw_.size() >= lineEnd + 2 + size + 2) {
        decoded_ += raw_.substr(lineEnd + 2, size);
        raw_.erase(0, lineEnd + 2 + size + 2);
        return true;
      }
    }
    char chunk[16384];
    const ssize_t n = recv(fd_, chunk, sizeof chunk, 0);
    if (n == 0) ended_ = true;
    if (n <= 0) return false;
    raw_.append(chunk, static_cast<size_t>(n));
  }
}

bool SseClient::next(SseEvent* event) {
  *event = SseEvent();
  size_t end = 0;
  while ((end = decoded_.find("\n\n")) == std::string::npos) {
    if (ended_ || !fill()) return false;
  }
  std::istringstream lines(decoded_.substr(0, end));
  decoded_.erase(0, end + 2);
  std::string line;
  bool firstData = true;
  while (std::getline(lines, line)) {
    const size_t colon = line.find(':');
    const std::string field = line.substr(0, colon);
    std::string value = colon == std::string::npos ? "" : line.substr(colon + 1);
    if (!value.empty() && value[0] == ' ') value.erase(0, 1);
    if (field.empty()) event->comment = value;
    if (field == "id") event->id = value;
    if (field == "event") event->event = value;
    if (field == "retry") event->retry = value;
    if (field == "data") {
      if (!firstData) event->data += '\n';
      event->data += value;
      firstData = false;
    }
  }
  return true;
}

}  // namespace serve_test
