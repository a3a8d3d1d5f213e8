#include "pocketjson/value.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "pocketjson/internal/number_format.h"

namespace pocketjson {

namespace {

// Containers whose last share went away while another container was being deleted. Deleting a
// container only releases its direct members; a member's own container is queued here instead of
// being deleted from inside its parent's destructor, so destroying a tree of any depth needs no
// native recursion. The list is trivially destructible (zero-initialised thread_local, no guard),
// keeps a small inline buffer and frees its heap part as soon as it is drained.
struct ReleaseList {
  static constexpr size_t kInline = 32;
  Value::AbstractContainer* inlineItems[kInline];
  Value::AbstractContainer** heap;
  size_t size;
  size_t capacity;  // heap capacity; 0 while only the inline buffer is used
  bool draining;

  Value::AbstractContainer** items() noexcept { return capacity ? heap : inlineItems; }

  // False only when the list cannot grow (memory exhausted).
  bool push(Value::AbstractContainer* c) noexcept {
    const size_t limit = capacity ? capacity : kInline;
    if (size == limit) {
      const size_t grown = limit * 2;
      auto** bigger = static_cast<Value::AbstractContainer**>(
          capacity ? std::realloc(heap, grown * sizeof(Value::AbstractContainer*))
                   : std::malloc(grown * sizeof(Value::AbstractContainer*)));
      if (!bigger) return false;
      if (!capacity) std::memcpy(bigger, inlineItems, sizeof(inlineItems));
      heap = bigger;
      capacity = grown;
    }
    items()[size++] = c;
    return true;
  }
};

thread_local ReleaseList tReleaseList;

// Every static empty container the read accessors hand out, kept with the shared null value in
// one function-local static.
struct SharedStatics {
  Value null;
  std::string emptyString;
  Value::Array emptyArray;
  Value::Object emptyObject;
};

const SharedStatics& sharedStatics() {
  static const SharedStatics statics;
  return statics;
}

}  // namespace

void Value::destroyContainer(AbstractContainer* c, Type t) noexcept {
  if (t == kString) {  // strings own no values: nothing nested to defer
    delete c;
    return;
  }
  ReleaseList& list = tReleaseList;
  if (list.draining) {
    // Only under memory exhaustion does this fall back to deleting in place (recursively).
    if (!list.push(c)) delete c;
    return;
  }
  list.draining = true;
  delete c;
  while (list.size) {
    AbstractContainer* next = list.items()[--list.size];
    delete next;
  }
  if (list.capacity) {
    std::free(list.heap);
    list.heap = nullptr;
    list.capacity = 0;
  }
  list.draining = false;
}

Value::Value(const std::string& s) : type_(kString) {
  payload_.c = new Container<std::string>(s);
}

Value::Value(std::string&& s) : type_(kString) {
  payload_.c = new Container<std::string>(std::move(s));
}

Value::Value(const char* s) : type_(kString) {
  payload_.c = new Container<std::string>(std::string(s ? s : ""));
}

Value Value::of(Type t) {
  Value v;
  v.setType(t);
  return v;
}

Value& Value::operator=(const Value& other) noexcept {
  if (this == &other) return *this;
  // Take the new share first: `other` may live inside the container released below.
  if ((other.type_ & kContainerMask) && other.payload_.c) ++other.payload_.c->refCount;
  Type t = other.type_;
  Payload p = other.payload_;
  release();
  type_ = t;
  payload_ = p;
  return *this;
}

Value& Value::operator=(Value&& other) noexcept {
  if (this == &other) return *this;
  Type t = other.type_;
  Payload p = other.payload_;
  other.type_ = kNull;
  other.payload_.word = 0;
  release();
  type_ = t;
  payload_ = p;
  return *this;
}

Value& Value::operator=(bool b) noexcept {
  release();
  type_ = kBool;
  payload_.word = 0;
  payload_.b = b;
  return *this;
}

void Value::setInteger(int64_t i) noexcept {
  release();
  type_ = kInteger;
  payload_.i = i;
}

Value& Value::operator=(double d) noexcept {
  release();
  type_ = kFloat;
  payload_.d = d;
  return *this;
}

Value& Value::operator=(const std::string& s) {
  if (type_ == kString && payload_.c && payload_.c->refCount < 2) {
    containerAs<std::string>()->value = s;
    return *this;
  }
  auto* c = new Container<std::string>(s);
  release();
  type_ = kString;
  payload_.c = c;
  return *this;
}

Value& Value::operator=(std::string&& s) {
  if (type_ == kString && payload_.c && payload_.c->refCount < 2) {
    containerAs<std::string>()->value = std::move(s);
    return *this;
  }
  auto* c = new Container<std::string>(std::move(s));
  release();
  type_ = kString;
  payload_.c = c;
  return *this;
}

Value& Value::operator=(const char* s) {
  return *this = std::string(s ? s : "");
}

void Value::setType(const Type& t) {
  if (t == type_) return;
  AbstractContainer* fresh = nullptr;
  switch (t) {
    case kObject:
      fresh = new Container<Object>();
      break;
    case kArray:
      fresh = new Container<Array>();
      break;
    case kString:
      fresh = new Container<std::string>();
      break;
    default:
      break;
  }
  release();
  type_ = t;
  if (fresh) {
    payload_.c = fresh;
  } else {
    payload_.word = 0;
  }
}

void Value::detachObject() {
  if (type_ != kObject || !payload_.c) {
    auto* fresh = new Container<Object>();
    release();
    type_ = kObject;
    payload_.c = fresh;
  } else if (payload_.c->refCount > 1) {
    auto* copy = new Container<Object>(containerAs<Object>()->value);
    --payload_.c->refCount;  // still shared by others: never reaches 0 here
    payload_.c = copy;
  }
}

void Value::detachArray() {
  if (type_ != kArray || !payload_.c) {
    auto* fresh = new Container<Array>();
    release();
    type_ = kArray;
    payload_.c = fresh;
  } else if (payload_.c->refCount > 1) {
    auto* copy = new Container<Array>(containerAs<Array>()->value);
    --payload_.c->refCount;
    payload_.c = copy;
  }
}

void Value::detachString() {
  if (type_ != kString || !payload_.c) {
    auto* fresh = new Container<std::string>();
    release();
    type_ = kString;
    payload_.c = fresh;
  } else if (payload_.c->refCount > 1) {
    auto* copy = new Container<std::string>(containerAs<std::string>()->value);
    --payload_.c->refCount;
    payload_.c = copy;
  }
}

Value& Value::operator[](const std::string& key) {
  detachObject();
  return containerAs<Object>()->value[key];
}

const Value& Value::get(const std::string& key) const {
  if (type_ != kObject || !payload_.c) return s_null();
  const Object& members = containerAs<Object>()->value;
  auto it = members.find(key);
  return it == members.end() ? s_null() : it->second;
}

bool Value::has(const std::string& key) const {
  if (type_ != kObject || !payload_.c) return false;
  const Object& members = containerAs<Object>()->value;
  return members.find(key) != members.end();
}

void Value::push_back(const Value& element) {
  // Copy first: `element` may be a member of this very array.
  Value copy(element);
  detachArray();
  containerAs<Array>()->value.push_back(std::move(copy));
}

void Value::push_back(Value&& element) {
  Value moved(std::move(element));
  detachArray();
  containerAs<Array>()->value.push_back(std::move(moved));
}

const std::string& Value::asString() const noexcept {
  if (type_ == kString && payload_.c) return containerAs<std::string>()->value;
  return sharedStatics().emptyString;
}

const Value::Array& Value::asArray() const noexcept {
  if (type_ == kArray && payload_.c) return containerAs<Array>()->value;
  return sharedStatics().emptyArray;
}

const Value::Object& Value::asObject() const noexcept {
  if (type_ == kObject && payload_.c) return containerAs<Object>()->value;
  return sharedStatics().emptyObject;
}

Value::Array& Value::mutableArray() {
  detachArray();
  return containerAs<Array>()->value;
}

Value::Object& Value::mutableObject() {
  detachObject();
  return containerAs<Object>()->value;
}

std::string& Value::mutableString() {
  detachString();
  return containerAs<std::string>()->value;
}

size_t Value::size() const noexcept {
  if (!(type_ & kContainerMask) || !payload_.c) return 0;
  switch (type_) {
    case kString:
      return containerAs<std::string>()->value.size();
    case kArray:
      return containerAs<Array>()->value.size();
    case kObject:
      return containerAs<Object>()->value.size();
    default:
      return 0;
  }
}

int32_t Value::shareCount() const noexcept {
  if (!(type_ & kContainerMask) || !payload_.c) return 0;
  return payload_.c->refCount;
}

std::string Value::toString(const std::string& defaultValue) const {
  char buffer[detail::kNumberBufferSize];
  switch (type_) {
    case kBool:
      return payload_.b ? "true" : "false";
    case kInteger:
      return std::string(buffer, detail::formatInteger(buffer, payload_.i));
    case kFloat: {
      bool finite = true;
      return std::string(buffer, detail::formatDoubleText(buffer, payload_.d, finite));
    }
    case kString:
      return payload_.c ? containerAs<std::string>()->value : std::string();
    default:
      return defaultValue;
  }
}

bool operator==(const Value& a, const Value& b) {
  // Compared with an explicit work list of pairs: no native recursion on nesting depth.
  std::vector<std::pair<const Value*, const Value*>> work{{&a, &b}};
  while (!work.empty()) {
    const Value& x = *work.back().first;
    const Value& y = *work.back().second;
    work.pop_back();
    if (x.type() != y.type()) return false;
    switch (x.type()) {
      case kNull:
        break;
      case kBool:
        if (x.asBool() != y.asBool()) return false;
        break;
      case kInteger:
        if (x.asInteger() != y.asInteger()) return false;
        break;
      case kFloat:
        if (!(x.asFloat() == y.asFloat())) return false;
        break;
      case kString:
        if (x.asString() != y.asString()) return false;
        break;
      case kArray: {
        const Value::Array& xa = x.asArray();
        const Value::Array& ya = y.asArray();
        if (xa.size() != ya.size()) return false;
        if (&xa == &ya) break;  // the same shared container
        for (size_t i = 0; i < xa.size(); ++i) work.emplace_back(&xa[i], &ya[i]);
        break;
      }
      case kObject: {
        const Value::Object& xo = x.asObject();
        const Value::Object& yo = y.asObject();
        if (xo.size() != yo.size()) return false;
        if (&xo == &yo) break;
        for (auto xi = xo.begin(), yi = yo.begin(); xi != xo.end(); ++xi, ++yi) {
          if (xi->first != yi->first) return false;
          work.emplace_back(&xi->second, &yi->second);
        }
        break;
      }
      default:
        if (x.payload_.word != y.payload_.word) return false;
        break;
    }
  }
  return true;
}

const Value& Value::s_null() {
  return sharedStatics().null;
}

}  // namespace pocketjson
