// The strict readers of the protocols' JSON bodies: every refusal with its exact text.
#include <gtest/gtest.h>

#include <string>

#include "host_core/protocol_body.h"

namespace host_core {
namespace {

std::string problemOf(const std::string& body) {
  RequestTexts texts;
  std::string problem;
  EXPECT_FALSE(parseResourceRequest(body, &texts, &problem)) << body.substr(0, 80);
  return problem;
}

TEST(ProtocolBody, ResourceRequestTakesFourOptionalStrings) {
  RequestTexts texts;
  std::string problem;
  ASSERT_TRUE(parseResourceRequest(
      R"({"options":"{\"method\":\"post\"}","parameters":"p","extra":"e","body":"b"})", &texts,
      &problem));
  EXPECT_EQ(texts.options, "{\"method\":\"post\"}");
  EXPECT_EQ(texts.parameters, "p");
  EXPECT_EQ(texts.extra, "e");
  EXPECT_EQ(texts.body, "b");
  ASSERT_TRUE(parseResourceRequest("{}", &texts, &problem));
  EXPECT_EQ(texts.options, "");
  EXPECT_EQ(texts.bytes(), 0U);
}

TEST(ProtocolBody, RefusalsNameTheMember) {
  EXPECT_EQ(problemOf("{\"options\":1}"), "member 'options' must be a string");
  EXPECT_EQ(problemOf("{\"body\":\"a\\u0000b\"}"), "member 'body' contains a NUL character");
  EXPECT_EQ(problemOf("{\"bodyy\":\"\"}"), "unknown member 'bodyy'");
  EXPECT_EQ(problemOf("[]"), "request body is not a JSON object");
  EXPECT_EQ(problemOf(""),
            "request body is not valid JSON (Unexpected character exists while parsing.)")
      << "the JSON library's own message is passed on";
  EXPECT_EQ(problemOf("\"\\udc00\""), "request body is not valid JSON (invalid JSON text)");
}

TEST(ProtocolBody, DeeplyNestedBodiesAreRefusedWithoutRecursion) {
  const std::string deep = std::string(1000000, '[') + std::string(1000000, ']');
  EXPECT_EQ(problemOf(deep), "request body is not a JSON object");
  EXPECT_EQ(problemOf(std::string(1000000, '[') + "x"),
            "request body is not valid JSON (Unexpected character exists while parsing.)");
}

TEST(ProtocolBody, ReadNonEmpty) {
  pocketjson::Value object;
  std::string problem;
  ASSERT_TRUE(parseObjectBody(R"({"app":"","n":2})", &object, &problem));
  std::string out;
  EXPECT_FALSE(readNonEmpty("app", object, &out, &problem));
  EXPECT_EQ(problem, "member 'app' must not be empty");
  EXPECT_FALSE(readNonEmpty("type", object, &out, &problem));
  EXPECT_EQ(problem, "member 'type' is required");
  EXPECT_FALSE(readNonEmpty("n", object, &out, &problem));
  EXPECT_EQ(problem, "member 'n' must be a string");
}

TEST(ProtocolBody, Decimal) {
  uint64_t value = 0;
  EXPECT_TRUE(parseDecimal("0", &value));
  EXPECT_EQ(value, 0U);
  EXPECT_TRUE(parseDecimal("18446744073709551615", &value));
  EXPECT_EQ(value, 18446744073709551615ULL);
  EXPECT_TRUE(parseDecimal("99999999999999999999999", &value));
  EXPECT_EQ(value, 18446744073709551615ULL) << "too large: the largest value";
  EXPECT_FALSE(parseDecimal("", &value));
  EXPECT_FALSE(parseDecimal("-1", &value));
  EXPECT_FALSE(parseDecimal("1 ", &value));
  EXPECT_FALSE(parseDecimal("0x10", &value));
}

}  // namespace
}  // namespace host_core
