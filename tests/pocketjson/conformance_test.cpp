// JSONTestSuite: every file in document, event and validation modes without a crash (on a small
// stack); every y_ file accepted; the n_ files accepted by the documented leniencies listed.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "test_support.h"

namespace {

const std::string kSuiteDir = pjtest::dataDir() + "/JSONTestSuite/test_parsing";

// n_ files that parse successfully, each by a documented leniency.
const std::set<std::string> kAcceptedRejectionFiles = {
    // Input ends right after '[' or ',' inside an array.
    "n_array_newlines_unclosed.json",        // ["a",\n4\n,1,
    "n_array_unclosed_trailing_comma.json",  // [1,
    "n_structure_lone-open-bracket.json",    // [
    // Input ends after '{' or ',' (or whitespace there) inside an object.
    "n_structure_open_object.json",                     // {
    "n_structure_open_object_comma.json",               // {,
    "n_structure_comma_instead_of_closing_brace.json",  // {"x": true,
    // Stray bytes where a key is expected are skipped.
    "n_object_emoji.json",                   // {<emoji>}
    "n_object_key_with_single_quotes.json",  // {key: 'value'}
    "n_object_non_string_key.json",          // {1:1}
    "n_object_non_string_key_but_huge_number_instead.json",
    "n_object_repeated_null_null.json",                      // {null:null,null:null}
    "n_object_single_quote.json",                            // {'a'}
    "n_object_two_commas_in_a_row.json",                     // {"a":"b",,"c":"d"}
    "n_structure_open_object_close_array.json",              // {]
    "n_structure_open_object_open_array.json",               // {[
    "n_structure_open_object_string_with_apostrophes.json",  // {'a'
    // Raw control bytes inside strings are taken as they are.
    "n_string_unescaped_ctrl_char.json",
    "n_string_unescaped_newline.json",
    "n_string_unescaped_tab.json",
    // A NUL byte after the top-level value ends the text.
    "n_multidigit_number_then_00.json",
    // Any leading part of a byte-order mark is skipped.
    "n_structure_incomplete_UTF8_BOM.json",
};

struct Outcome {
  bool ok;
  std::string message;
};

struct FileOutcomes {
  std::string name;
  Outcome document, events, validation;
};

std::vector<FileOutcomes> runSuite() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(kSuiteDir)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  std::vector<FileOutcomes> results;
  // The whole suite runs on a 256 KiB stack: no input may need more.
  pjtest::runOnSmallStack(256 * 1024, [&] {
    for (const std::string& name : names) {
      const std::string text = pjtest::readFile(kSuiteDir + "/" + name);
      FileOutcomes r;
      r.name = name;
      const auto parsed = pjtest::parse(text);
      r.document = {parsed.ok, parsed.message};
      if (parsed.ok) pjtest::compact(parsed.value);  // serializing must not crash either
      pjtest::RecordingHandler handler;
      pocketjson::Parser events;
      r.events.ok = events.parse(handler, text, pocketjson::ParseOption());
      r.events.message = events.error();
      pocketjson::Parser validator;
      r.validation.ok = validator.validate(text);
      r.validation.message = validator.error();
      results.push_back(r);
    }
  });
  return results;
}

const std::vector<FileOutcomes>& suite() {
  static const std::vector<FileOutcomes> results = runSuite();
  return results;
}

}  // namespace

TEST(Conformance, AllFilesRan) {
  EXPECT_EQ(suite().size(), 318u);
}

TEST(Conformance, ModesAgree) {
  for (const auto& r : suite()) {
    EXPECT_EQ(r.document.ok, r.events.ok) << r.name;
    EXPECT_EQ(r.document.message, r.events.message) << r.name;
    EXPECT_EQ(r.document.ok, r.validation.ok) << r.name;
    EXPECT_EQ(r.document.message, r.validation.message) << r.name;
  }
}

TEST(Conformance, EveryAcceptFileParses) {
  size_t count = 0;
  for (const auto& r : suite()) {
    if (r.name.rfind("y_", 0) != 0) continue;
    ++count;
    EXPECT_TRUE(r.document.ok) << r.name << ": " << r.document.message;
  }
  EXPECT_EQ(count, 95u);
}

TEST(Conformance, RejectFilesAcceptedOnlyByLeniencies) {
  std::set<std::string> accepted;
  size_t count = 0;
  for (const auto& r : suite()) {
    if (r.name.rfind("n_", 0) != 0) continue;
    ++count;
    if (r.document.ok) {
      accepted.insert(r.name);
    } else {
      // A rejection always says why, except for the silent lone-low-surrogate rule.
      const bool loneLow = r.document.message.empty();
      if (loneLow) {
        const std::string text = pjtest::readFile(kSuiteDir + "/" + r.name);
        EXPECT_NE(text.find("\\uD"), std::string::npos) << r.name;
      }
    }
  }
  EXPECT_EQ(count, 188u);
  EXPECT_EQ(accepted, kAcceptedRejectionFiles);
}

TEST(Conformance, ImplementationDefinedFilesOnlyMustNotCrash) {
  size_t count = 0;
  for (const auto& r : suite()) {
    if (r.name.rfind("i_", 0) == 0) ++count;
  }
  EXPECT_EQ(count, 35u);
}
