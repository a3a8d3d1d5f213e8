// `zarvo_host serve` against requests a browser cannot send but a raw socket can: a refused
// request whose body holds another request, a chunked body far over the limit, endless header
// lines, Range headers that multiply an answer, requests sent back to back, and a path that
// would make a redirect leave the host. Each refusal ends its connection, and nothing that
// was refused reaches the plug-in.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include "serve_test_support.h"

namespace {

using serve_test::connectionEnds;
using serve_test::connectTo;
using serve_test::HttpClient;
using serve_test::RawResponse;
using serve_test::readResponse;
using serve_test::resourceBody;
using serve_test::scratchFolder;
using serve_test::sendAll;
using serve_test::ServeProcess;

class ServeRequestBounds : public ::testing::Test {
 protected:
  std::string hostLine() const { return "Host: " + server_.host() + "\r\n"; }
  std::string callLog() {
    auto log = client_.get("/simulator/log");
    return log ? log->body : std::string("no answer");
  }
  // A whole POST of `body` to `path`, with `headers` added.
  std::string post(const std::string& path, const std::string& body,
                   const std::string& headers = "") const {
    return "POST " + path + " HTTP/1.1\r\n" + hostLine() + headers +
           "Content-Type: application/json\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
  }

  ServeProcess server_;
  HttpClient client_{server_.port()};
};

constexpr const char* kEmptyLog = "{\"calls\":[],\"next\":0}";

TEST_F(ServeRequestBounds, ARefusedRequestsBodyIsNeverReadAsARequest) {
  // A page of another site can send any body (a no-cors POST); here the body is a whole request
  // that would connect an application. The 403 ends the connection before a byte of it is read,
  // whether the body comes with the header or (as a browser sends it) after the answer.
  const std::string smuggled =
      post("/bridge/ZarvoApplication", resourceBody("post", "{\"name\":\"viewer\"}"));
  const std::string refused = post("/bridge/ZarvoApplication", smuggled,
                                   "Origin: http://evil.example\r\nContent-Type: text/plain\r\n");
  const size_t headEnd = refused.find("\r\n\r\n") + 4;
  for (const bool together : {true, false}) {
    SCOPED_TRACE(together ? "in one write" : "the body after the answer");
    const int fd = connectTo(server_.port());
    ASSERT_GE(fd, 0);
    ASSERT_TRUE(sendAll(fd, together ? refused : refused.substr(0, headEnd)));
    const RawResponse answer = readResponse(fd);
    EXPECT_EQ(answer.status, 403);
    EXPECT_EQ(answer.get_header_value("connection"), "close");
    if (!together) sendAll(fd, refused.substr(headEnd));
    EXPECT_TRUE(connectionEnds(fd));
    close(fd);
  }
  EXPECT_EQ(callLog(), kEmptyLog);
}

TEST_F(ServeRequestBounds, ARefusedBodyOfAnAcceptableSizeIsDroppedWholeAndTheAnswerRead) {
  // A client that sends its whole body before it reads (as many do): a refusal must not close
  // under it while bytes are still coming, or the reset takes the unread answer with it.
  const std::string body(size_t{12} * 1024 * 1024, ' ');
  const std::string refused =
      post("/bridge/ZarvoApplication", body, "Origin: http://evil.example\r\n");
  const int fd = connectTo(server_.port());
  ASSERT_GE(fd, 0);
  EXPECT_TRUE(sendAll(fd, refused));
  const RawResponse answer = readResponse(fd);
  EXPECT_EQ(answer.status, 403);
  EXPECT_TRUE(connectionEnds(fd));
  close(fd);
}

TEST_F(ServeRequestBounds, EveryRefusalThatLeavesBytesUnreadEndsItsConnection) {
  const std::string smuggled = "GET /simulator/log HTTP/1.1\r\n" + hostLine() + "\r\n";
  const std::string body = std::to_string(smuggled.size());
  const struct {
    std::string request;
    int status;
  } cases[] = {
      // 404 and 405 on a request whose body the route does not read.
      {"POST /bridge/ZarvoFoo HTTP/1.1\r\n" + hostLine() + "Content-Length: " + body + "\r\n\r\n" +
           smuggled,
       404},
      {"PUT /bridge/ZarvoApplication HTTP/1.1\r\n" + hostLine() + "Content-Length: " + body +
           "\r\n\r\n" + smuggled,
       405},
      // A GET that carries a body.
      {"GET /simulator/log HTTP/1.1\r\n" + hostLine() + "Content-Length: " + body + "\r\n\r\n" +
           smuggled,
       400},
      // A malformed header, then a whole request.
      {"GET / HTTP/1.1\r\n" + hostLine() + "Bad header\r\n\r\n" + smuggled, 400},
      // A declared body over the limit.
      {"POST /bridge/ZarvoApplication HTTP/1.1\r\n" + hostLine() +
           "Content-Length: 16777217\r\n\r\n" + smuggled,
       413},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.request.substr(0, 40));
    const int fd = connectTo(server_.port());
    ASSERT_GE(fd, 0);
    ASSERT_TRUE(sendAll(fd, c.request));
    const RawResponse refused = readResponse(fd);
    EXPECT_EQ(refused.status, c.status);
    EXPECT_EQ(refused.get_header_value("connection"), "close");
    EXPECT_TRUE(connectionEnds(fd));
    close(fd);
  }
}

// Sends `pieces` of `piece` on `fd` from another thread until told to stop or the server closes.
class Flood {
 public:
  Flood(int fd, std::string piece, size_t pieces)
      : thread_([this, fd, piece = std::move(piece), pieces] {
          for (size_t i = 0; i < pieces && !stop_; ++i) {
            if (!sendAll(fd, piece)) return;
            sent_ += piece.size();
          }
        }) {}
  ~Flood() {
    stop_ = true;
    thread_.join();
  }
  size_t sent() const { return sent_; }

 private:
  std::atomic<bool> stop_{false};
  std::atomic<size_t> sent_{0};
  std::thread thread_;
};

TEST_F(ServeRequestBounds, AChunkedBodyOverTheLimitIsRefusedAsItArrives) {
  const int fd = connectTo(server_.port());
  ASSERT_GE(fd, 0);
  ASSERT_TRUE(sendAll(fd, "POST /bridge/ZarvoApplication HTTP/1.1\r\n" + hostLine() +
                              "Content-Type: application/json\r\n"
                              "Transfer-Encoding: chunked\r\n\r\n"));
  // 200 chunks of 1 MiB: 200 MiB, far beyond the 16 MiB limit.
  const std::string chunk = "100000\r\n" + std::string(1 << 20, ' ') + "\r\n";
  {
    Flood flood(fd, chunk, 200);
    const RawResponse refused = readResponse(fd);
    EXPECT_EQ(refused.status, 413);
    EXPECT_EQ(refused.body,
              "{\"error\":{\"message\":\"request body exceeds 16777216 bytes\",\"name\":"
              "\"PayloadTooLarge\"}}");
    EXPECT_EQ(refused.get_header_value("connection"), "close");
  }
  close(fd);
  EXPECT_EQ(callLog(), kEmptyLog);
}

TEST_F(ServeRequestBounds, EndlessHeaderLinesAreRefusedAtTheHeaderLimit) {
  const int fd = connectTo(server_.port());
  ASSERT_GE(fd, 0);
  ASSERT_TRUE(sendAll(fd, "GET /simulator/log HTTP/1.1\r\n" + hostLine()));
  {
    // 64 MiB of short header lines; the server must answer long before they end.
    std::string lines;
    for (int i = 0; i < 1024; ++i) lines += "X-Line: " + std::string(54, 'a') + "\r\n";
    Flood flood(fd, lines, 1024);
    const RawResponse refused = readResponse(fd);
    EXPECT_EQ(refused.status, 431);
    EXPECT_EQ(refused.body,
              "{\"error\":{\"message\":\"request header fields exceed 16384 bytes\",\"name\":"
              "\"HeadersTooLarge\"}}");
  }
  close(fd);
}

TEST_F(ServeRequestBounds, RangeHeadersAreIgnoredAndTheWholeFileIsSent) {
  const std::string folder = scratchFolder("range");
  std::string content;
  for (int i = 0; i < 1300; ++i) content += "0123456789";
  serve_test::writeFile(folder + "/file.txt", content);
  ServeProcess server({"--page", folder});
  HttpClient client(server.port());
  std::string many = "bytes=0-";
  for (int i = 0; i < 1500; ++i) many += ",0-";
  for (const std::string& range : {many, std::string("bytes=0-9"), std::string("bytes=5-")}) {
    SCOPED_TRACE(range.substr(0, 20));
    auto answer = client.get("/file.txt", {{"Range", range}});
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->status, 200);
    EXPECT_EQ(answer->body, content);
    EXPECT_FALSE(answer->has_header("Content-Range"));
    EXPECT_EQ(answer->get_header_value("Accept-Ranges"), "none");
  }
}

TEST_F(ServeRequestBounds, PipelinedRequestsAreAllAnsweredInOrder) {
  std::string requests;
  for (const char* name : {"viewer", "printer", "viewer", "scanner", "printer"}) {
    requests += post("/bridge/ZarvoApplication",
                     resourceBody("post", std::string("{\"name\":\"") + name + "\"}"));
  }
  const int fd = connectTo(server_.port());
  ASSERT_GE(fd, 0);
  ASSERT_TRUE(sendAll(fd, requests));  // one write
  // The second connect of a name fails, like connecting an application the library does not know.
  const int statuses[] = {200, 200, 500, 500, 500};
  std::string pending;
  for (int i = 0; i < 5; ++i) {
    SCOPED_TRACE(i);
    const RawResponse answer = readResponse(fd, &pending);
    EXPECT_EQ(answer.status, statuses[i]);
    EXPECT_EQ(answer.get_header_value("Zarvo-Promise"), std::to_string(i + 1));
  }
  close(fd);
}

TEST_F(ServeRequestBounds, NoRedirectNamesAnotherHost) {
  const std::string folder = scratchFolder("redirects");
  ASSERT_EQ(std::system(("mkdir -p '" + folder + "/sub'").c_str()), 0);
  serve_test::writeFile(folder + "/sub/index.html", "<p>sub</p>");
  ServeProcess server({"--page", folder});
  HttpClient client(server.port());
  for (const std::string path : {"//sub", "///sub", "/.//sub", "/sub"}) {
    SCOPED_TRACE(path);
    auto answer = client.get(path);
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->status, 301);
    EXPECT_EQ(answer->get_header_value("Location"), "/sub/");
  }
  auto other = client.get("//evil.example");
  ASSERT_TRUE(other);
  EXPECT_EQ(other->status, 404);
}

}  // namespace
