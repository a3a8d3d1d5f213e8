// Value model: construction, copy on write, share counts, setType, accessors, toString.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "test_support.h"

using pocketjson::Value;

TEST(Value, LayoutIsTwoWords) {
  EXPECT_EQ(sizeof(Value), 16u);
  EXPECT_EQ(pocketjson::kNull, 0u);
  EXPECT_EQ(pocketjson::kBool, 1u);
  EXPECT_EQ(pocketjson::kInteger, 2u);
  EXPECT_EQ(pocketjson::kFloat, 4u);
  EXPECT_EQ(pocketjson::kString, 16u);
  EXPECT_EQ(pocketjson::kObject, 32u);
  EXPECT_EQ(pocketjson::kArray, 64u);
  EXPECT_EQ(pocketjson::kContainerMask, 112u);
}

TEST(Value, DefaultIsNullSerializesAsNullAndToStringGivesDefault) {
  Value v;
  EXPECT_EQ(v.type(), pocketjson::kNull);
  EXPECT_EQ(pjtest::compact(v), "null");
  EXPECT_EQ(v.toString("fallback"), "fallback");
  EXPECT_EQ(v.toString(""), "");
  EXPECT_EQ(v.shareCount(), 0);
}

TEST(Value, IndexOnIntegerTurnsItIntoObjectWithNullMember) {
  Value v = 42;
  ASSERT_EQ(v.type(), pocketjson::kInteger);
  Value& member = v["a"];
  EXPECT_EQ(member.type(), pocketjson::kNull);
  EXPECT_EQ(v.type(), pocketjson::kObject);
  EXPECT_EQ(v.size(), 1u);
  EXPECT_TRUE(v.has("a"));
  EXPECT_EQ(pjtest::compact(v), "{\"a\":null}");
}

TEST(Value, IndexOnStringArrayAndNullReplacesContents) {
  Value s = "text";
  s["k"] = 1;
  EXPECT_EQ(pjtest::compact(s), "{\"k\":1}");
  Value a;
  a.push_back(1);
  a["k"] = 2;
  EXPECT_EQ(pjtest::compact(a), "{\"k\":2}");
  Value n;
  n["k"] = true;
  EXPECT_EQ(pjtest::compact(n), "{\"k\":true}");
}

TEST(Value, CopyOnWriteForObjects) {
  Value a;
  a["x"] = 1;
  EXPECT_EQ(a.shareCount(), 1);
  Value b = a;
  EXPECT_EQ(a.shareCount(), 2);
  EXPECT_EQ(b.shareCount(), 2);
  b["y"] = 2;  // detaches b
  EXPECT_EQ(a.shareCount(), 1);
  EXPECT_EQ(b.shareCount(), 1);
  EXPECT_EQ(pjtest::compact(a), "{\"x\":1}");
  EXPECT_EQ(pjtest::compact(b), "{\"x\":1,\"y\":2}");
}

TEST(Value, DetachIsOneLevelDeepNestedContainersBecomeShared) {
  Value a;
  a["inner"]["v"] = 1;
  Value b = a;
  b["other"] = 2;  // one-level copy: "inner" is now shared by both maps
  EXPECT_EQ(a.get("inner").shareCount(), 2);
  b["inner"]["v"] = 5;  // detaches the inner object of b only
  EXPECT_EQ(a.get("inner").get("v").asInteger(), 1);
  EXPECT_EQ(b.get("inner").get("v").asInteger(), 5);
  EXPECT_EQ(a.get("inner").shareCount(), 1);
}

TEST(Value, StringAssignmentInPlaceOnlyWhenUnshared) {
  Value a = "one";
  const std::string* before = &a.asString();
  a = std::string("two");
  EXPECT_EQ(&a.asString(), before);  // unshared: same container
  Value b = a;
  EXPECT_EQ(a.shareCount(), 2);
  b = std::string("three");  // shared: b gets a new container
  EXPECT_EQ(a.asString(), "two");
  EXPECT_EQ(b.asString(), "three");
  EXPECT_EQ(a.shareCount(), 1);
  EXPECT_EQ(b.shareCount(), 1);
}

TEST(Value, PushBackOnSharedArrayDetaches) {
  Value a;
  a.push_back(1);
  Value b = a;
  b.push_back(2);
  EXPECT_EQ(pjtest::compact(a), "[1]");
  EXPECT_EQ(pjtest::compact(b), "[1,2]");
  EXPECT_EQ(a.shareCount(), 1);
}

TEST(Value, PushBackOfOwnElementIsSafe) {
  Value a;
  a.push_back("x");
  for (int i = 0; i < 10; ++i) a.push_back(a.asArray()[0]);
  EXPECT_EQ(a.size(), 11u);
  EXPECT_EQ(a.asArray()[0].shareCount(), 11);
}

TEST(Value, CopyAssignmentSharesAndSelfAssignmentIsNoop) {
  Value a;
  a["k"] = "v";
  Value b = 3;
  b = a;
  EXPECT_EQ(a.shareCount(), 2);
  Value& alias = b;
  b = alias;
  EXPECT_EQ(a.shareCount(), 2);
  b = 1.5;
  EXPECT_EQ(a.shareCount(), 1);
}

TEST(Value, AssignFromOwnMemberKeepsItAlive) {
  Value a;
  a["k"]["deep"] = "x";
  a = a.get("k");  // the member lives in the container being released
  EXPECT_EQ(pjtest::compact(a), "{\"deep\":\"x\"}");
}

TEST(Value, MoveLeavesSourceNull) {
  Value a;
  a["k"] = 1;
  Value b = std::move(a);
  EXPECT_EQ(a.type(), pocketjson::kNull);  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(b.shareCount(), 1);
}

TEST(Value, ReleaseDropsShareAndIsIdempotent) {
  Value a;
  a.push_back(1);
  Value b = a;
  b.release();
  EXPECT_EQ(a.shareCount(), 1);
  EXPECT_EQ(b.type(), pocketjson::kArray);  // the tag is left unchanged
  b.release();
  EXPECT_EQ(a.shareCount(), 1);
}

TEST(Value, SetTypeSameTypeKeepsContents) {
  Value a;
  a.push_back(1);
  a.push_back(2);
  a.setType(pocketjson::kArray);
  EXPECT_EQ(pjtest::compact(a), "[1,2]");
  Value o;
  o["k"] = 1;
  o.setType(pocketjson::kObject);
  EXPECT_EQ(pjtest::compact(o), "{\"k\":1}");
  Value i = 7;
  i.setType(pocketjson::kInteger);
  EXPECT_EQ(i.asInteger(), 7);
}

TEST(Value, SetTypeOtherTypeGivesEmptyOrZero) {
  Value a;
  a.push_back(1);
  a.setType(pocketjson::kObject);
  EXPECT_EQ(pjtest::compact(a), "{}");
  EXPECT_EQ(a.shareCount(), 1);
  a.setType(pocketjson::kString);
  EXPECT_EQ(pjtest::compact(a), "\"\"");
  a.setType(pocketjson::kBool);
  EXPECT_EQ(pjtest::compact(a), "false");
  a.setType(pocketjson::kInteger);
  EXPECT_EQ(pjtest::compact(a), "0");
  a.setType(pocketjson::kFloat);
  EXPECT_EQ(pjtest::compact(a), "0.0");
  EXPECT_FALSE(std::signbit(a.asFloat()));
  a.setType(pocketjson::kArray);
  EXPECT_EQ(pjtest::compact(a), "[]");
  a.setType(pocketjson::kNull);
  EXPECT_EQ(pjtest::compact(a), "null");
}

TEST(Value, SetTypeOnSharedReleasesOnlyOwnShare) {
  Value a;
  a.push_back(1);
  Value b = a;
  b.setType(pocketjson::kObject);
  EXPECT_EQ(a.shareCount(), 1);
  EXPECT_EQ(pjtest::compact(a), "[1]");
}

TEST(Value, SetTypeWithUnlistedCodeWritesNothing) {
  Value a;
  a.setType(static_cast<pocketjson::Type>(8));
  EXPECT_EQ(a.type(), 8u);
  bool ok = false;
  EXPECT_EQ(pjtest::compact(a, &ok), "");
  EXPECT_TRUE(ok);
  a.setType(static_cast<pocketjson::Type>(128));
  EXPECT_EQ(pjtest::compact(a, &ok), "");
  EXPECT_TRUE(ok);
}

TEST(Value, GetOnNonObjectReturnsSharedNullAndChangesNothing) {
  Value values[] = {Value(),    Value(true), Value(3),
                    Value(2.5), Value("s"),  Value::of(pocketjson::kArray)};
  for (Value& v : values) {
    const pocketjson::Type before = v.type();
    const Value& got = v.get("a");
    EXPECT_EQ(&got, &Value::s_null());
    EXPECT_EQ(v.type(), before);
    EXPECT_FALSE(v.has("a"));
  }
  Value o;
  o["x"] = 1;
  EXPECT_EQ(&o.get("missing"), &Value::s_null());
  EXPECT_EQ(o.size(), 1u);
  EXPECT_FALSE(o.has("missing"));
  EXPECT_TRUE(o.has("x"));
  EXPECT_EQ(o.get("x").asInteger(), 1);
}

TEST(Value, SharedNullIsOneNullValue) {
  EXPECT_EQ(&Value::s_null(), &Value::s_null());
  EXPECT_EQ(Value::s_null().type(), pocketjson::kNull);
}

TEST(Value, ObjectKeysAreInByteOrder) {
  Value o;
  o["b"] = 1;
  o["a"] = 2;
  o["\xC3\xA9"] = 3;  // bytes >= 128 sort after ASCII
  o["B"] = 4;
  o["ab"] = 5;
  o[""] = 6;
  EXPECT_EQ(pjtest::compact(o), "{\"\":6,\"B\":4,\"a\":2,\"ab\":5,\"b\":1,\"\xC3\xA9\":3}");
}

TEST(Value, ToStringTable) {
  EXPECT_EQ(Value(true).toString("d"), "true");
  EXPECT_EQ(Value(false).toString("d"), "false");
  EXPECT_EQ(Value(0).toString("d"), "0");
  EXPECT_EQ(Value(-42).toString("d"), "-42");
  EXPECT_EQ(Value(std::numeric_limits<int64_t>::min()).toString("d"), "-9223372036854775808");
  EXPECT_EQ(Value(std::numeric_limits<int64_t>::max()).toString("d"), "9223372036854775807");
  EXPECT_EQ(Value(-0.0).toString("d"), "0.0");
  EXPECT_EQ(Value(0.0).toString("d"), "0.0");
  EXPECT_EQ(Value(1.0).toString("d"), "1");
  EXPECT_EQ(Value(0.1).toString("d"), "0.10000000000000001");
  EXPECT_EQ(Value(2.5).toString("d"), "2.5");
  EXPECT_EQ(Value(1e300).toString("d"), "1.0000000000000001e+300");
  EXPECT_EQ(Value(std::nan("")).toString("d"), "nan");
  EXPECT_EQ(Value(-std::nan("")).toString("d"), "nan");
  EXPECT_EQ(Value(std::numeric_limits<double>::infinity()).toString("d"), "inf");
  EXPECT_EQ(Value(-std::numeric_limits<double>::infinity()).toString("d"), "-inf");
  EXPECT_EQ(Value("a\"b").toString("d"), "a\"b");  // unescaped
  EXPECT_EQ(Value("").toString("d"), "");
  EXPECT_EQ(Value().toString("d"), "d");
  EXPECT_EQ(Value::of(pocketjson::kObject).toString("d"), "d");
  EXPECT_EQ(Value::of(pocketjson::kArray).toString("d"), "d");
}

TEST(Value, ScalarAccessorsAndFallbacks) {
  EXPECT_TRUE(Value(true).asBool());
  EXPECT_FALSE(Value(1).asBool());
  EXPECT_EQ(Value(5).asInteger(), 5);
  EXPECT_EQ(Value(5.0).asInteger(), 0);
  EXPECT_EQ(Value(2.5).asFloat(), 2.5);
  EXPECT_EQ(Value(2).asFloat(), 0.0);
  EXPECT_EQ(Value(3).asString(), "");
  EXPECT_TRUE(Value(3).asArray().empty());
  EXPECT_TRUE(Value(3).asObject().empty());
  EXPECT_EQ(Value(3).size(), 0u);
  EXPECT_EQ(Value("abc").size(), 3u);
}

TEST(Value, MutableAccessorsConvertAndDetach) {
  Value a = 1;
  a.mutableArray().push_back(Value("x"));
  EXPECT_EQ(pjtest::compact(a), "[\"x\"]");
  Value b = a;
  b.mutableArray().push_back(Value(2));
  EXPECT_EQ(pjtest::compact(a), "[\"x\"]");
  EXPECT_EQ(pjtest::compact(b), "[\"x\",2]");
  Value o = a;
  o.mutableObject()["k"] = 1;
  EXPECT_EQ(pjtest::compact(o), "{\"k\":1}");
  EXPECT_EQ(a.shareCount(), 1);
  Value s = "ab";
  Value t = s;
  t.mutableString() += "c";
  EXPECT_EQ(s.asString(), "ab");
  EXPECT_EQ(t.asString(), "abc");
}

TEST(Value, ContainersAreFreedWhenLastShareGoes) {
  // Release order does not matter: the last holder frees the container.
  Value outer;
  outer["k"] = "v";
  Value inner = outer.get("k");
  EXPECT_EQ(inner.shareCount(), 2);
  outer = Value();
  EXPECT_EQ(inner.shareCount(), 1);
  EXPECT_EQ(inner.asString(), "v");
}

TEST(Value, EqualityIsStructural) {
  auto a = pjtest::parse("{\"a\":[1,2.5,\"x\",null,true,{}]}").value;
  auto b = pjtest::parse("{ \"a\" : [1, 2.5, \"x\", null, true, {}] }").value;
  auto c = pjtest::parse("{\"a\":[1,2.5,\"x\",null,true,[]]}").value;
  auto d = pjtest::parse("{\"a\":[1.0,2.5,\"x\",null,true,{}]}").value;
  EXPECT_TRUE(a == b);
  EXPECT_TRUE(a != c);
  EXPECT_TRUE(a != d);  // integer 1 and double 1.0 differ by type
}

namespace {

// Levels below the value (arrays of one element, or objects of one member "k").
size_t nestedLevels(const pocketjson::Value& v) {
  size_t levels = 0;
  const pocketjson::Value* at = &v;
  while ((at->isArray() && at->size() == 1) || (at->isObject() && at->has("k"))) {
    at = at->isArray() ? &at->asArray()[0] : &at->get("k");
    ++levels;
  }
  return levels;
}

}  // namespace

// Releasing a tree deeper than the levels it deletes by native recursion (then a work list)
// leaves every subtree that is still shared intact, at any depth, for arrays and objects.
TEST(ValueRelease, SharedSubtreesAtAnyDepthSurviveTheReleaseOfTheirRoot) {
  for (const bool objects : {false, true}) {
    std::vector<pocketjson::Value> kept;
    {
      pocketjson::Value root;
      pocketjson::Value* at = &root;
      for (int level = 0; level < 300; ++level) {
        if (objects) {
          at = &(*at)["k"];
        } else {
          at->push_back(pocketjson::Value());
          at = &at->mutableArray()[0];
        }
      }
      *at = "leaf";
      const pocketjson::Value* walk = &root;
      for (int level = 0; level < 300; ++level) {
        if (level == 3 || level == 47 || level == 48 || level == 49 || level == 97 ||
            level == 250) {
          kept.push_back(*walk);
        }
        walk = objects ? &walk->get("k") : &walk->asArray()[0];
      }
      EXPECT_EQ(nestedLevels(root), 300u);
    }
    const size_t expected[] = {297, 253, 252, 251, 203, 50};
    ASSERT_EQ(kept.size(), 6u);
    for (size_t i = 0; i < kept.size(); ++i) {
      EXPECT_EQ(nestedLevels(kept[i]), expected[i]) << objects << " " << i;
      // The outermost kept subtree lost its parent; every other one is still held by its parent
      // inside the outermost one as well.
      EXPECT_EQ(kept[i].shareCount(), i == 0 ? 1 : 2) << objects << " " << i;
    }
  }
}
