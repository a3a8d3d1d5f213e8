// Every corpus document through every output path, compared with digests recorded from an earlier
// build: compact and pretty text, the request data the application receives and the envelope of a
// bridge-cross call carrying the document as request data, the envelope carrying it as the
// application's answer, and the zarvoEvent text carrying it as event data. Any change of a single
// output byte changes a digest.
//
// Recording (only when the outputs are meant to change):
//   pocketjson_corpus_golden_tests --record=tests/pocketjson/golden/corpus_outputs.txt
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "plugin_harness.h"
#include "sha256.h"
#include "test_support.h"

namespace {

std::string recordPath;  // set by --record=<file>

// One output line: "<document> <output kind> <length> <sha256>".
using Outputs = std::map<std::string, std::string>;

std::string line(size_t length, const std::string& text) {
  return std::to_string(length) + " " + pjtest::sha256(text);
}

std::vector<std::filesystem::path> corpusFiles() {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(pjtest::dataDir() + "/corpus")) {
    files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

Outputs readGolden() {
  Outputs golden;
  std::ifstream in(ZARVO_CORPUS_GOLDEN_FILE);
  std::string document, kind, rest;
  while (in >> document >> kind && std::getline(in, rest)) {
    golden[document + " " + kind] = rest.substr(rest.find_first_not_of(' '));
  }
  return golden;
}

class CorpusGolden : public restest::ResourceTest {
 protected:
  void SetUp() override {
    restest::ResourceTest::SetUp();
    connect("viewer");
    ASSERT_EQ(event("post", R"({"name":"viewer","type":"progress"})").status, 200);
  }

  void addLibraryOutputs(const std::string& name, const std::string& text) {
    const pjtest::Parsed parsed = pjtest::parse(text);
    ASSERT_TRUE(parsed.ok) << name << ": " << parsed.message;
    const std::string compact = pocketjson::Serializer::compact(parsed.value);
    // The iterator path writes the same text as the string path.
    EXPECT_EQ(pjtest::compact(parsed.value), compact) << name;
    outputs_[name + " compact"] = line(compact.size(), compact);
    const std::string pretty = pocketjson::Serializer::pretty(parsed.value);
    outputs_[name + " pretty"] = line(pretty.size(), pretty);
  }

  void addRequestOutputs(const std::string& name, const std::string& text) {
    program([](ZrvSimProgram& p) {
      p.bridgeCrossStatus = 200;
      p.bridgeCrossAnswer = R"({"ok":true})";
    });
    ZrvSimClearLog();
    const restest::Response r =
        bridge("post", R"({"name":"viewer"})", R"({"uri":"/document","requestData":)" + text + "}");
    ASSERT_EQ(r.status, 200) << name;
    outputs_[name + " request-envelope"] = line(r.text.size(), r.text);
    ZrvSimCall call;
    ASSERT_EQ(ZrvSimCallCount(), 1u) << name;
    ASSERT_NE(ZrvSimGetCall(0, &call), 0) << name;
    ASSERT_EQ(call.argCount, 4) << name;
    const std::string requestData = call.args[3];
    outputs_[name + " request-data"] = line(requestData.size(), requestData);
  }

  void addAnswerOutputs(const std::string& name, const std::string& text) {
    program([&text](ZrvSimProgram& p) {
      p.bridgeCrossStatus = 200;
      p.bridgeCrossAnswer = text.c_str();
    });
    const restest::Response r = bridge("post", R"({"name":"viewer"})", R"({"uri":"/document"})");
    ASSERT_EQ(r.status, 200) << name;
    outputs_[name + " answer-envelope"] = line(r.text.size(), r.text);
  }

  void addEventOutputs(const std::string& name, const std::string& text) {
    const size_t before = host().events().size();
    ASSERT_EQ(ZrvSimRaiseEvent(reinterpret_cast<ZrvApplicationHandle>(1), "progress", text.c_str()),
              1);
    const std::vector<restest::Event> events = host().events();
    ASSERT_EQ(events.size(), before + 1) << name;
    outputs_[name + " event"] = line(events.back().text.size(), events.back().text);
  }

  Outputs outputs_;
};

TEST(Sha256, KnownDigests) {
  EXPECT_EQ(pjtest::sha256(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(pjtest::sha256("abc"),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  // 56 bytes: the length needs a second padding block.
  EXPECT_EQ(pjtest::sha256("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
  EXPECT_EQ(pjtest::sha256(std::string(1000000, 'a')),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST_F(CorpusGolden, EveryOutputMatchesTheRecordedDigest) {
  const auto files = corpusFiles();
  ASSERT_EQ(files.size(), 8u);
  for (const auto& path : files) {
    bool found = false;
    const std::string text = pjtest::readFile(path.string(), &found);
    ASSERT_TRUE(found) << path;
    const std::string name = path.stem().string();
    addLibraryOutputs(name, text);
    addRequestOutputs(name, text);
    addAnswerOutputs(name, text);
    addEventOutputs(name, text);
  }
  ASSERT_EQ(outputs_.size(), 8u * 6u);
  if (!recordPath.empty()) {
    std::ofstream out(recordPath);
    for (const auto& [key, value] : outputs_) out << key << " " << value << "\n";
    ASSERT_TRUE(out.good()) << "cannot write " << recordPath;
    return;
  }
  const Outputs golden = readGolden();
  ASSERT_EQ(golden.size(), outputs_.size()) << "recorded digests in " ZARVO_CORPUS_GOLDEN_FILE;
  for (const auto& [key, value] : outputs_) {
    const auto recorded = golden.find(key);
    ASSERT_NE(recorded, golden.end()) << key;
    EXPECT_EQ(value, recorded->second) << key;
  }
}

}  // namespace

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  for (int i = 1; i < argc; ++i) {
    if (std::strncmp(argv[i], "--record=", 9) == 0) recordPath = argv[i] + 9;
  }
  return RUN_ALL_TESTS();
}
