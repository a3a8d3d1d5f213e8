// Test support for `zarvo_host serve`: the server as a child process, raw HTTP over a socket,
// and a reader of the event stream.
//
// Design note
// -----------
// Every test drives a real `zarvo_host serve --port 0` child: the first line on its standard
// output names the port. Everything talks to it over plain sockets, so the test controls every
// byte and can stop reading at will: HttpClient for ordinary requests on a kept-alive
// connection, rawExchange and friends for hostile ones, SseClient for event streams (and
// socket_client.h for the WebSocket). Every socket read has a generous receive timeout, so a
// broken server fails a test instead of hanging it; no test asserts on speed.
//
// ZARVO_SERVE_TEST_HOST_OVERRIDE, when set, names another zarvo_host to test (for instance an
// older build, to see which tests it fails).
#ifndef ZARVO_TESTS_SERVE_SERVE_TEST_SUPPORT_H
#define ZARVO_TESTS_SERVE_SERVE_TEST_SUPPORT_H

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace serve_test {

// Paths compiled in by the build.
std::string hostPath();
std::string applicationsPath();
// `text` as a JSON string literal.
std::string jsonString(const std::string& text);
// The body of POST /bridge/<Resource>: options {"method":<method>}, the parameters text and,
// when not empty, the body text, each as a JSON string member.
std::string resourceBody(const std::string& method, const std::string& parameters,
                         const std::string& body = "");
// A fresh empty folder under the build tree for this test.
std::string scratchFolder(const std::string& name);
// The whole file, or empty.
std::string readFile(const std::string& path);
void writeFile(const std::string& path, const std::string& text);

class ServeProcess {
 public:
  // Starts `zarvo_host serve --port 0 --applications <examples/applications.json>` plus `args`,
  // with `env` added to the environment, and reads the first line.
  explicit ServeProcess(const std::vector<std::string>& args = {},
                        const std::map<std::string, std::string>& env = {});
  ~ServeProcess();
  ServeProcess(const ServeProcess&) = delete;
  ServeProcess& operator=(const ServeProcess&) = delete;

  int port() const { return port_; }
  pid_t pid() const { return pid_; }
  const std::string& firstLine() const { return firstLine_; }
  std::string host() const { return "127.0.0.1:" + std::to_string(port_); }
  // Sends `signal` and waits; the exit status (or 128 + signal when killed by one).
  int stop(int signal);
  // The same, but waits at most `seconds`: -1 (and the process killed) when it did not end by
  // then. For checks that shutdown is bounded whatever clients do; the bound is generous.
  int stopWithin(int signal, int seconds);
  // Everything the child wrote to stderr (after it has exited).
  std::string errorOutput();

 private:
  pid_t pid_ = -1;
  int port_ = 0;
  int stdoutFd_ = -1;
  std::string errPath_;
  std::string firstLine_;
};

// A parsed HTTP response.
struct RawResponse {
  int status = 0;
  std::map<std::string, std::string> headers;  // names lower-cased
  std::string body;
  bool complete = false;  // a whole response arrived

  // The header's value ("" when absent); `name` in any case.
  std::string get_header_value(const std::string& name) const;
  bool has_header(const std::string& name) const;
};

// What an HttpClient request gives: a response, or nothing when none arrived.
class Result {
 public:
  Result() = default;
  explicit Result(RawResponse response) : response_(std::move(response)), ok_(true) {}
  explicit operator bool() const { return ok_; }
  const RawResponse* operator->() const { return &response_; }
  const RawResponse& operator*() const { return response_; }

 private:
  RawResponse response_;
  bool ok_ = false;
};

using Headers = std::vector<std::pair<std::string, std::string>>;

// HTTP/1.1 requests on one kept-alive connection, opened again when the server closed it.
class HttpClient {
 public:
  explicit HttpClient(int port);
  ~HttpClient();
  HttpClient(const HttpClient&) = delete;
  HttpClient& operator=(const HttpClient&) = delete;

  Result get(const std::string& path, const Headers& headers = {});
  Result head(const std::string& path);
  Result post(const std::string& path, const std::string& body,
              const std::string& type = "application/json", const Headers& headers = {});
  Result put(const std::string& path, const std::string& body,
             const std::string& type = "application/json");
  // Any method; a body (with its type) only when `body` is not empty or the method is POST/PUT.
  Result send(const std::string& method, const std::string& path, const std::string& body,
              const std::string& type, const Headers& headers);
  void setReceiveTimeout(int seconds);

 private:
  int port_;
  int fd_ = -1;
  int timeoutSeconds_ = 20;
};

// Connects the application "viewer" and subscribes it to "tick" events over HTTP: true when
// both answered 200.
bool subscribeViewerToTicks(HttpClient& client);
// Raises "tick" events of "viewer" with payloads {"n":first} .. {"n":first+count-1}, one
// request each: true when every raise answered 200.
bool raiseTicks(HttpClient& client, int first, int count);

int connectTo(int port);
bool sendAll(int fd, const std::string& text);
// Sends `request` on a new connection and reads one response.
RawResponse rawExchange(int port, const std::string& request);
// Reads one response from `fd` (Content-Length, chunked, or until the connection ends); with
// `head`, the response to a HEAD request (no body).
RawResponse readResponse(int fd, bool head = false);
// The same for responses that follow each other on `fd`: bytes read beyond one response wait in
// `*pending` for the next call.
RawResponse readResponse(int fd, std::string* pending, bool head = false);
// True when `fd` is closed by the server: the next read ends (no more bytes) in time.
bool connectionEnds(int fd);
// The server process's resident memory now and at its peak, in KiB (/proc/<pid>/status).
long residentKiB(pid_t pid);
long peakResidentKiB(pid_t pid);

// One event-stream event as a reader sees it.
struct SseEvent {
  std::string id;
  std::string event;
  std::string data;  // data lines joined with '\n'
  std::string comment;
  std::string retry;
};

// GET /events over a socket, decoding the chunked body.
class SseClient {
 public:
  // Opens the stream; `extraHeaders` are whole header lines ("Last-Event-ID: 3\r\n").
  SseClient(int port, const std::string& target = "/events", const std::string& extraHeaders = "",
            int receiveBuffer = 0);
  ~SseClient();
  SseClient(const SseClient&) = delete;
  SseClient& operator=(const SseClient&) = delete;

  const RawResponse& head() const { return head_; }
  // The next block of the stream; false when the stream ended or nothing came in time.
  bool next(SseEvent* event);
  // True when the server ended the stream (last chunk or connection closed).
  bool ended() const { return ended_; }

 private:
  bool fill();
  int fd_ = -1;
  RawResponse head_;
  std::string raw_;      // undecoded bytes after the header
  std::string decoded_;  // decoded body not yet parsed
  bool ended_ = false;
};

}  // namespace serve_test

#endif  // ZARVO_TESTS_SERVE_SERVE_TEST_SUPPORT_H
