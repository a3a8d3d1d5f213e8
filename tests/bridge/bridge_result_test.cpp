// The result records: assignment semantics (sharing, swapping, self-assignment), the error
// test and the thrown error type.
#include "bridge/bridge_result.h"

#include <gtest/gtest.h>

#include <utility>

namespace {

using bridge::BridgeResult;
using bridge::BridgeResultError;
using pocketjson::Value;

Value objectWith(const std::string& key, const Value& member) {
  Value object;
  object[key] = member;
  return object;
}

BridgeResult makeResult(bridge::BridgeStatusCode code, const std::string& name,
                        const std::string& message, const Value& details, const Value& value) {
  BridgeResult result;
  result.code = code;
  result.error.name = name;
  result.error.message = message;
  result.error.details = details;
  result.value = value;
  return result;
}

TEST(BridgeResultTest, DefaultIsSuccessWithoutValue) {
  const BridgeResult result;
  EXPECT_EQ(result.code, bridge::kBridgeStatusOK);
  EXPECT_TRUE(result.error.name.empty());
  EXPECT_TRUE(result.error.message.empty());
  EXPECT_TRUE(result.error.details.isNull());
  EXPECT_TRUE(result.value.isNull());
  EXPECT_FALSE(result.hasError());
}

TEST(BridgeResultTest, StatusCodeValues) {
  EXPECT_EQ(static_cast<int>(bridge::kBridgeStatusOK), 200);
  EXPECT_EQ(static_cast<int>(bridge::kBridgeStatusBadRequest), 400);
  EXPECT_EQ(static_cast<int>(bridge::kBridgeStatusMethodNotAllowed), 405);
  EXPECT_EQ(static_cast<int>(bridge::kBridgeStatusInternalServerError), 500);
  EXPECT_EQ(sizeof(bridge::BridgeStatusCode), 4u);
}

TEST(BridgeResultTest, OkCarriesTheAnswer) {
  const BridgeResult result = BridgeResult::ok(Value(7));
  EXPECT_EQ(result.code, bridge::kBridgeStatusOK);
  EXPECT_EQ(result.value, Value(7));
  EXPECT_FALSE(result.hasError());
}

TEST(BridgeResultTest, ErrorConstructorSetsCodeNameMessageOnly) {
  const BridgeResultError error(bridge::kBridgeStatusBadRequest, "BadRequestError", "x");
  EXPECT_EQ(error.code, bridge::kBridgeStatusBadRequest);
  EXPECT_EQ(error.error.name, "BadRequestError");
  EXPECT_EQ(error.error.message, "x");
  EXPECT_TRUE(error.error.details.isNull());
  EXPECT_TRUE(error.value.isNull());
  EXPECT_TRUE(error.hasError());
}

TEST(BridgeResultTest, HasErrorFromNameOrMessageAlone) {
  EXPECT_TRUE(makeResult(bridge::kBridgeStatusOK, "n", "", Value(), Value()).hasError());
  EXPECT_TRUE(makeResult(bridge::kBridgeStatusOK, "", "m", Value(), Value()).hasError());
}

TEST(BridgeResultTest, HasErrorFromNonEmptyDetailsOnly) {
  auto withDetails = [](const Value& details) {
    return makeResult(bridge::kBridgeStatusOK, "", "", details, Value()).hasError();
  };
  EXPECT_TRUE(withDetails(objectWith("code", Value(3))));
  Value array;
  array.push_back(Value(1));
  EXPECT_TRUE(withDetails(array));
  EXPECT_TRUE(withDetails(Value("s")));

  EXPECT_FALSE(withDetails(Value()));
  EXPECT_FALSE(withDetails(Value(0)));
  EXPECT_FALSE(withDetails(Value(5)));
  EXPECT_FALSE(withDetails(Value(1.5)));
  EXPECT_FALSE(withDetails(Value(true)));
  EXPECT_FALSE(withDetails(Value::of(pocketjson::kObject)));
  EXPECT_FALSE(withDetails(Value::of(pocketjson::kArray)));
  EXPECT_FALSE(withDetails(Value("")));
}

TEST(BridgeResultTest, CopyAssignmentCopiesTextsAndSharesValues) {
  const Value details = objectWith("d", Value(1));
  const Value value = objectWith("v", Value(2));
  const BridgeResult source =
      makeResult(bridge::kBridgeStatusBadRequest, "Name", "Message", details, value);
  BridgeResult target = makeResult(bridge::kBridgeStatusOK, "old", "older", Value("x"), Value("y"));

  const int32_t detailsShares = details.shareCount();
  const int32_t valueShares = value.shareCount();
  target = source;

  EXPECT_EQ(target.code, bridge::kBridgeStatusBadRequest);
  EXPECT_EQ(target.error.name, "Name");
  EXPECT_EQ(target.error.message, "Message");
  EXPECT_EQ(target.error.details, details);
  EXPECT_EQ(target.value, value);
  // Shared, not cloned: one more share of each container.
  EXPECT_EQ(details.shareCount(), detailsShares + 1);
  EXPECT_EQ(value.shareCount(), valueShares + 1);
  // The source is untouched.
  EXPECT_EQ(source.error.name, "Name");
  EXPECT_EQ(source.value, value);
}

TEST(BridgeResultTest, CopiedValuesDoNotSeeLaterChanges) {
  BridgeResult source = BridgeResult::ok(objectWith("a", Value(1)));
  BridgeResult target;
  target = source;
  target.value["a"] = Value(2);
  EXPECT_EQ(source.value.get("a"), Value(1));
  EXPECT_EQ(target.value.get("a"), Value(2));
  EXPECT_EQ(source.value.shareCount(), 1);
}

TEST(BridgeResultTest, SelfCopyAssignmentChangesNothing) {
  const Value details = objectWith("d", Value(1));
  const Value value = objectWith("v", Value(2));
  BridgeResult result =
      makeResult(bridge::kBridgeStatusInternalServerError, "N", "M", details, value);
  const int32_t detailsShares = details.shareCount();
  const int32_t valueShares = value.shareCount();

  BridgeResult& alias = result;
  result = alias;

  EXPECT_EQ(result.code, bridge::kBridgeStatusInternalServerError);
  EXPECT_EQ(result.error.name, "N");
  EXPECT_EQ(result.error.message, "M");
  EXPECT_EQ(result.error.details, details);
  EXPECT_EQ(result.value, value);
  EXPECT_EQ(details.shareCount(), detailsShares);
  EXPECT_EQ(value.shareCount(), valueShares);
}

TEST(BridgeResultTest, MoveAssignmentSwapsAndLeavesTargetsFormerContentsInSource) {
  BridgeResult source = makeResult(bridge::kBridgeStatusBadRequest, "SourceName", "SourceMessage",
                                   objectWith("s", Value(1)), Value("source value"));
  BridgeResult target = makeResult(bridge::kBridgeStatusMethodNotAllowed, "TargetName",
                                   "TargetMessage", Value("target details"), Value(42));

  target = std::move(source);

  EXPECT_EQ(target.code, bridge::kBridgeStatusBadRequest);
  EXPECT_EQ(target.error.name, "SourceName");
  EXPECT_EQ(target.error.message, "SourceMessage");
  EXPECT_EQ(target.error.details, objectWith("s", Value(1)));
  EXPECT_EQ(target.value, Value("source value"));

  // The source now holds the target's former strings and values, not empty ones. Its code is
  // copied, not swapped, so it keeps its own.
  EXPECT_EQ(source.code, bridge::kBridgeStatusBadRequest);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(source.error.name, "TargetName");
  EXPECT_EQ(source.error.message, "TargetMessage");
  EXPECT_EQ(source.error.details, Value("target details"));
  EXPECT_EQ(source.value, Value(42));
}

TEST(BridgeResultTest, MoveAssignmentKeepsShareCounts) {
  const Value details = objectWith("d", Value(1));
  BridgeResult source = makeResult(bridge::kBridgeStatusOK, "", "", details, Value());
  BridgeResult target;
  const int32_t shares = details.shareCount();
  target = std::move(source);
  EXPECT_EQ(details.shareCount(), shares);
  EXPECT_EQ(target.error.details, details);
  EXPECT_TRUE(source.error.details.isNull());  // NOLINT(bugprone-use-after-move)
}

TEST(BridgeResultTest, SelfMoveAssignmentChangesNothing) {
  const Value details = objectWith("d", Value(1));
  const Value value = objectWith("v", Value(2));
  BridgeResult result = makeResult(bridge::kBridgeStatusBadRequest, "N", "M", details, value);
  const int32_t detailsShares = details.shareCount();

  BridgeResult& alias = result;
  result = std::move(alias);

  EXPECT_EQ(result.code, bridge::kBridgeStatusBadRequest);
  EXPECT_EQ(result.error.name, "N");
  EXPECT_EQ(result.error.message, "M");
  EXPECT_EQ(result.error.details, details);
  EXPECT_EQ(result.value, value);
  EXPECT_EQ(details.shareCount(), detailsShares);
}

TEST(BridgeResultTest, ErrorAssignsIntoResultBySlicing) {
  BridgeResult result = BridgeResult::ok(Value(1));
  const BridgeResultError error(bridge::kBridgeStatusBadRequest, "BadRequestError", "x");
  result = error;
  EXPECT_EQ(result.code, bridge::kBridgeStatusBadRequest);
  EXPECT_EQ(result.error.name, "BadRequestError");
  EXPECT_EQ(result.error.message, "x");
  EXPECT_TRUE(result.value.isNull());
}

TEST(BridgeResultTest, ErrorIsCatchableAsThrownByValue) {
  try {
    throw BridgeResultError(bridge::kBridgeStatusInternalServerError, "InternalError", "boom");
  } catch (const BridgeResultError& error) {
    EXPECT_EQ(error.code, bridge::kBridgeStatusInternalServerError);
    EXPECT_EQ(error.error.name, "InternalError");
    EXPECT_EQ(error.error.message, "boom");
    return;
  }
  ADD_FAILURE() << "not caught";
}

}  // namespace
