// pocketjson::Value: the one JSON document type of the system.
//
// Design note
// -----------
// A Value is two words: a 32-bit type tag and one 64-bit payload word. Scalars (bool, integer,
// double) live in the payload itself. Strings, arrays and objects live in heap containers that
// carry a plain (non-atomic) share count; copying a Value only increments that count, so values
// are cheap to pass, return and keep. Mutation is copy on write: `operator[]`, string assignment
// and the mutable container accessors detach a shared container before they change it, so two
// values copied from one another never see each other's later changes.
//
// Objects keep their members in byte-wise key order (std::map with std::less<std::string>), which
// is also the order in which the serializer writes them.
//
// Depth: no operation here recurses natively in proportion to nesting depth. Copies are O(1);
// releasing the last share of a tree recurses natively for a bounded number of levels and
// continues from a local work list below them, so a million nested arrays are destroyed on a
// small thread stack.
//
// Threads: a Value tree must be used by one thread at a time (the share counts are plain
// integers). Only the one-time initialisation of `s_null()` is synchronised.
//
// Failure: no operation reports an error. Reading a missing or mistyped member yields `s_null()`;
// memory exhaustion propagates as std::bad_alloc.
#ifndef POCKETJSON_VALUE_H
#define POCKETJSON_VALUE_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace pocketjson {

// The type tag. The codes are bit flags; the three container kinds share the mask kContainerMask.
enum Type : uint32_t {
  kNull = 0,     // no payload; the word is kept 0
  kBool = 1,     // boolean in the payload's first byte
  kInteger = 2,  // signed 64-bit integer
  kFloat = 4,    // IEEE-754 double
  kString = 16,  // shared Container<std::string>
  kObject = 32,  // shared Container<std::map<std::string, Value>>
  kArray = 64,   // shared Container<std::vector<Value>>
};

// The single test for "this value owns a share of a container".
constexpr uint32_t kContainerMask = 112;

class Value {
 public:
  using String = std::string;
  using Array = std::vector<Value>;
  using Object = std::map<std::string, Value>;

  // Heap container base: deleted through a base pointer; `refCount` counts the sharing Values.
  struct AbstractContainer {
    AbstractContainer() = default;
    AbstractContainer(const AbstractContainer&) = delete;
    AbstractContainer& operator=(const AbstractContainer&) = delete;
    virtual ~AbstractContainer() = default;
    int32_t refCount = 1;
  };

  template <typename T>
  struct Container final : AbstractContainer {
    Container() = default;
    explicit Container(const T& v) : value(v) {}
    explicit Container(T&& v) : value(std::move(v)) {}
    T value;
  };

  // Constructors

  // A null value (payload 0).
  Value() noexcept : type_(kNull) { payload_.word = 0; }
  // Shares the source's container (count + 1); never deep-copies.
  Value(const Value& other) noexcept : type_(other.type_), payload_(other.payload_) {
    if ((type_ & kContainerMask) && payload_.c) ++payload_.c->refCount;
  }
  // Takes the source's share; the source is left null.
  Value(Value&& other) noexcept : type_(other.type_), payload_(other.payload_) {
    other.type_ = kNull;
    other.payload_.word = 0;
  }
  Value(bool b) noexcept : type_(kBool) {  // NOLINT(google-explicit-constructor)
    payload_.word = 0;
    payload_.b = b;
  }
  template <typename T, typename = std::enable_if_t<std::is_integral<T>::value &&
                                                    !std::is_same<T, bool>::value>>
  Value(T i) noexcept : type_(kInteger) {  // NOLINT(google-explicit-constructor)
    payload_.i = static_cast<int64_t>(i);
  }
  Value(double d) noexcept : type_(kFloat) { payload_.d = d; }  // NOLINT
  Value(const std::string& s);                                  // NOLINT
  Value(std::string&& s);                                       // NOLINT
  Value(const char* s);                                         // NOLINT
  // A pointer must never silently become a bool.
  Value(void*) = delete;
  Value(const void*) = delete;
  // A value of the given type with empty contents (as `setType` on a null value).
  static Value of(Type t);

  // Drops this value's share; the last share deletes the container. Nested containers are
  // released with bounded native recursion and a work list, whatever the depth.
  ~Value() {
    if (type_ & kContainerMask) release();
  }

  // Assignment

  // Releases the target, then shares the source's container. Self-assignment does nothing.
  Value& operator=(const Value& other) noexcept;
  Value& operator=(Value&& other) noexcept;
  Value& operator=(bool b) noexcept;
  template <typename T, typename = std::enable_if_t<std::is_integral<T>::value &&
                                                    !std::is_same<T, bool>::value>>
  Value& operator=(T i) noexcept {
    setInteger(static_cast<int64_t>(i));
    return *this;
  }
  Value& operator=(double d) noexcept;
  // In place when this already is an unshared string, else a new string container.
  Value& operator=(const std::string& s);
  Value& operator=(std::string&& s);
  Value& operator=(const char* s);
  Value& operator=(void*) = delete;
  Value& operator=(const void*) = delete;

  // Drops this value's container share (the tag is left unchanged, the pointer becomes null so a
  // second release is harmless). Used before overwriting.
  void release() noexcept {
    if ((type_ & kContainerMask) && payload_.c) {
      AbstractContainer* c = payload_.c;
      payload_.c = nullptr;
      if (--c->refCount == 0) destroyContainer(c, type_);
    }
  }

  // Type

  // Switches to `t`. Same type: nothing happens. Otherwise the share is released and the payload
  // becomes a fresh empty container (kObject, kArray, kString) or 0 (every other code).
  void setType(const Type& t);
  // The tag.
  Type type() const noexcept { return type_; }
  bool isNull() const noexcept { return type_ == kNull; }
  bool isBool() const noexcept { return type_ == kBool; }
  bool isInteger() const noexcept { return type_ == kInteger; }
  bool isFloat() const noexcept { return type_ == kFloat; }
  bool isString() const noexcept { return type_ == kString; }
  bool isObject() const noexcept { return type_ == kObject; }
  bool isArray() const noexcept { return type_ == kArray; }

  // Accessors

  // Mutable member `key`. Detaches a shared object first (one-level copy); turns any non-object
  // into an empty object first (previous contents lost); inserts a null member when absent.
  Value& operator[](const std::string& key);
  // Read-only member `key`, or `s_null()` when this is not an object or has no such member.
  const Value& get(const std::string& key) const;
  // True only when this is an object with a member `key`.
  bool has(const std::string& key) const;
  // Appends a copy to this array (detaching a shared array first). A non-array becomes an empty
  // array first, as `setType(kArray)` would make it.
  void push_back(const Value& element);
  void push_back(Value&& element);

  // The boolean if this is kBool, false otherwise.
  bool asBool() const noexcept { return type_ == kBool ? payload_.b : false; }
  // The integer if this is kInteger, 0 otherwise.
  int64_t asInteger() const noexcept { return type_ == kInteger ? payload_.i : 0; }
  // The double if this is kFloat, 0.0 otherwise.
  double asFloat() const noexcept { return type_ == kFloat ? payload_.d : 0.0; }
  // The string if this is kString, a shared empty string otherwise.
  const std::string& asString() const noexcept;
  // The elements if this is kArray, a shared empty array otherwise.
  const Array& asArray() const noexcept;
  // The members if this is kObject, a shared empty object otherwise.
  const Object& asObject() const noexcept;
  // Mutable container access: converts like `operator[]`/`push_back` and detaches when shared.
  Array& mutableArray();
  Object& mutableObject();
  std::string& mutableString();
  // Element or member count for arrays and objects, byte count for strings, 0 otherwise.
  size_t size() const noexcept;
  // The share count of this value's container, 0 for scalars (for tests and diagnostics).
  int32_t shareCount() const noexcept;

  // Conversion

  // "true"/"false", "%lld", the double rule ("0.0" for both zeros, "%.17g" with '.', "nan",
  // "inf", "-inf"), the string itself; `defaultValue` for null, objects and arrays.
  std::string toString(const std::string& defaultValue) const;

  // Structural equality (integers and doubles compare by type and value). Not used by the
  // system; handy for tests and tools.
  friend bool operator==(const Value& a, const Value& b);
  friend bool operator!=(const Value& a, const Value& b) { return !(a == b); }

  // The process-wide, immutable null value: the answer of every read-only lookup that finds
  // nothing. Function-local static, initialised once on first use.
  static const Value& s_null();

 private:
  void setInteger(int64_t i) noexcept;
  // Deletes a container whose last share is gone, with the nested containers whose last share
  // it held (see value.cpp: native recursion for the first levels, a work list below them).
  static void destroyContainer(AbstractContainer* c, Type t) noexcept;
  struct DeeperContainers;
  static void destroyTree(AbstractContainer* c, Type t, int levelsLeft,
                          DeeperContainers& deeper) noexcept;
  static void releaseMember(Value& member, int levelsLeft, DeeperContainers& deeper) noexcept;
  AbstractContainer* container() const noexcept { return payload_.c; }
  template <typename T>
  Container<T>* containerAs() const noexcept {
    return static_cast<Container<T>*>(payload_.c);
  }
  void detachObject();
  void detachArray();
  void detachString();

  Type type_;
  union Payload {
    bool b;
    int64_t i;
    double d;
    AbstractContainer* c;
    uint64_t word;
  } payload_;

  friend class Parser;
  friend class Serializer;
};

}  // namespace pocketjson

#endif  // POCKETJSON_VALUE_H
