// `zarvo_host serve`: static files. Content types, index.html, the redirect for a folder without
// its slash, the client module under /zarvo/, the console as the default page, and no way out of
// a served folder (.., %2e%2e, symbolic links).
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "serve_test_support.h"

namespace {

using serve_test::rawExchange;
using serve_test::RawResponse;
using serve_test::scratchFolder;
using serve_test::ServeProcess;
using serve_test::writeFile;

// A page folder, a web folder and a secret beside them, made once per test.
struct Folders {
  explicit Folders(const std::string& name) {
    root = scratchFolder(name);
    page = root + "/page";
    web = root + "/web";
    const std::string make = "mkdir -p '" + page + "/sub' '" + page + "/empty' '" + web +
                             "/zarvo' '" + web + "/console'";
    EXPECT_EQ(std::system(make.c_str()), 0);
    writeFile(root + "/secret.txt", "secret");
    writeFile(page + "/index.html", "<p>page</p>");
    writeFile(page + "/sub/index.html", "<p>sub</p>");
    for (const std::string ext : {"js", "mjs", "css", "json", "svg", "png", "ts", "bin", "HTML"}) {
      writeFile(page + "/file." + ext, ext);
    }
    writeFile(page + "/noextension", "x");
    writeFile(web + "/zarvo/zarvo.js", "export {};");
    writeFile(web + "/console/index.html", "<p>console</p>");
    EXPECT_EQ(symlink((root + "/secret.txt").c_str(), (page + "/link.txt").c_str()), 0);
    EXPECT_EQ(symlink(root.c_str(), (page + "/up").c_str()), 0);
  }
  std::string root, page, web;
};

std::string notFound(const std::string& message) {
  return "{\"error\":{\"message\":\"" + message + "\",\"name\":\"NotFound\"}}";
}

TEST(ServeStatic, ContentTypesByExtension) {
  Folders folders("content_types");
  ServeProcess server({"--page", folders.page, "--web", folders.web});
  serve_test::HttpClient client(server.port());
  const struct {
    std::string path;
    std::string type;
  } cases[] = {
      {"/file.js", "text/javascript; charset=utf-8"},
      {"/file.mjs", "text/javascript; charset=utf-8"},
      {"/file.css", "text/css; charset=utf-8"},
      {"/file.json", "application/json; charset=utf-8"},
      {"/file.svg", "image/svg+xml; charset=utf-8"},
      {"/file.png", "image/png"},
      {"/file.ts", "text/plain; charset=utf-8"},
      {"/file.bin", "application/octet-stream"},
      {"/file.HTML", "text/html; charset=utf-8"},
      {"/noextension", "application/octet-stream"},
      {"/index.html", "text/html; charset=utf-8"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    auto result = client.get(c.path.c_str());
    ASSERT_TRUE(result);
    EXPECT_EQ(result->status, 200);
    EXPECT_EQ(result->get_header_value("Content-Type"), c.type);
    EXPECT_EQ(result->get_header_value("Cache-Control"), "no-store");
    EXPECT_EQ(result->get_header_value("X-Content-Type-Options"), "nosniff");
  }
  EXPECT_EQ(client.get("/file.ts")->body, "ts");
}

TEST(ServeStatic, FoldersServeTheirIndex) {
  Folders folders("index");
  ServeProcess server({"--page", folders.page, "--web", folders.web});
  serve_test::HttpClient client(server.port());
  auto root = client.get("/");
  ASSERT_TRUE(root);
  EXPECT_EQ(root->status, 200);
  EXPECT_EQ(root->body, "<p>page</p>");
  EXPECT_EQ(root->get_header_value("Content-Type"), "text/html; charset=utf-8");
  auto sub = client.get("/sub/");
  ASSERT_TRUE(sub);
  EXPECT_EQ(sub->body, "<p>sub</p>");
  auto redirect = client.get("/sub");
  ASSERT_TRUE(redirect);
  EXPECT_EQ(redirect->status, 301);
  EXPECT_EQ(redirect->get_header_value("Location"), "/sub/");
  auto empty = client.get("/empty/");
  ASSERT_TRUE(empty);
  EXPECT_EQ(empty->status, 404);
  EXPECT_EQ(empty->body, notFound("no file at '/empty/'"));
  auto head = client.head("/index.html");
  ASSERT_TRUE(head);
  EXPECT_EQ(head->status, 200);
  EXPECT_TRUE(head->body.empty());
}

TEST(ServeStatic, TheClientModuleAndTheDefaultConsole) {
  Folders folders("module_console");
  ServeProcess server({"--web", folders.web});
  serve_test::HttpClient client(server.port());
  auto module = client.get("/zarvo/zarvo.js");
  ASSERT_TRUE(module);
  EXPECT_EQ(module->status, 200);
  EXPECT_EQ(module->body, "export {};");
  EXPECT_EQ(module->get_header_value("Content-Type"), "text/javascript; charset=utf-8");
  auto console = client.get("/");
  ASSERT_TRUE(console);
  EXPECT_EQ(console->body, "<p>console</p>");
  // With --page, / is the author's page and /zarvo/ still the module.
  ServeProcess page({"--page", folders.page, "--web", folders.web});
  serve_test::HttpClient pageClient(page.port());
  EXPECT_EQ(pageClient.get("/")->body, "<p>page</p>");
  EXPECT_EQ(pageClient.get("/zarvo/zarvo.js")->body, "export {};");
}

TEST(ServeStatic, NoPathLeavesItsFolder) {
  Folders folders("traversal");
  ServeProcess server({"--page", folders.page, "--web", folders.web});
  const std::string host = "Host: " + server.host() + "\r\nConnection: close\r\n\r\n";
  const struct {
    std::string target;
    std::string message;
  } cases[] = {
      {"/../secret.txt", "path '/../secret.txt' leaves the served folder"},
      {"/%2e%2e/secret.txt", "path '/../secret.txt' leaves the served folder"},
      {"/%2E%2E%2fsecret.txt", "path '/../secret.txt' leaves the served folder"},
      {"/sub/../../secret.txt", "path '/sub/../../secret.txt' leaves the served folder"},
      {"/zarvo/../../secret.txt", "path '/zarvo/../../secret.txt' leaves the served folder"},
      {"/zarvo/%2e%2e/console/index.html",
       "path '/zarvo/../console/index.html' leaves the served folder"},
      {"/link.txt", "path '/link.txt' leaves the served folder"},
      {"/up/secret.txt", "path '/up/secret.txt' leaves the served folder"},
      {"/file.js%00.png", "path '/file.js\\u0000.png' leaves the served folder"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.target);
    const RawResponse response =
        rawExchange(server.port(), "GET " + c.target + " HTTP/1.1\r\n" + host);
    EXPECT_EQ(response.status, 404);
    EXPECT_EQ(response.body, notFound(c.message));
    EXPECT_EQ(response.body.find("secret\""), std::string::npos);
  }
}

}  // namespace
