#include <QuarnelTvOsLib/Value.h>

#include <atomic>
#include <variant>

namespace quarnel {

// Shared content of a text, bytes, array or dictionary value.
struct Value::Node {
  using Content = std::variant<std::string, Bytes, Array, Dictionary>;
  explicit Node(Content c) : content(std::move(c)) {}

  std::atomic<std::uint32_t> references{1};
  Node* next = nullptr;  // Chains nodes that wait for their destruction.
  Content content;
};

Value::Value(std::string text) { adopt(Type::kText, new Node(std::move(text))); }
Value::Value(std::string_view text) : Value(std::string(text)) {}
Value::Value(const char* text) : Value(std::string(text)) {}
Value::Value(Date date) noexcept : type_(Type::kDate) { payload_.date = date; }
Value::Value(Bytes bytes) { adopt(Type::kBytes, new Node(std::move(bytes))); }
Value::Value(Array array) { adopt(Type::kArray, new Node(std::move(array))); }
Value::Value(Dictionary dictionary) { adopt(Type::kDictionary, new Node(std::move(dictionary))); }

Value::Value(const Value& other) noexcept : type_(other.type_), payload_(other.payload_) {
  if (hasNode()) payload_.node->references.fetch_add(1, std::memory_order_relaxed);
}

Value::Value(Value&& other) noexcept : type_(other.type_), payload_(other.payload_) {
  other.type_ = Type::kNull;
}

Value& Value::operator=(const Value& other) noexcept {
  Value copy(other);
  std::swap(type_, copy.type_);
  std::swap(payload_, copy.payload_);
  return *this;
}

Value& Value::operator=(Value&& other) noexcept {
  Value taken(std::move(other));
  std::swap(type_, taken.type_);
  std::swap(payload_, taken.payload_);
  return *this;
}

Value::~Value() {
  if (hasNode()) release(payload_.node);
}

bool Value::hasNode() const noexcept {
  return type_ == Type::kText || type_ == Type::kBytes || type_ == Type::kArray ||
         type_ == Type::kDictionary;
}

void Value::adopt(Type type, Node* node) noexcept {
  type_ = type;
  payload_.node = node;
}

// Children are taken out of a dying container and chained, so that a deep value needs neither stack
// nor memory for its destruction.
void Value::release(Node* node) noexcept {
  if (node->references.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  Node* pending = node;
  const auto surrender = [&pending](Value& child) {
    if (!child.hasNode()) return;
    Node* inner = child.payload_.node;
    child.type_ = Type::kNull;
    if (inner->references.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
    inner->next = pending;
    pending = inner;
  };
  while (pending != nullptr) {
    Node* dying = pending;
    pending = dying->next;
    if (auto* array = std::get_if<Array>(&dying->content)) {
      for (Value& child : *array) surrender(child);
    } else if (auto* dictionary = std::get_if<Dictionary>(&dying->content)) {
      for (auto& [key, child] : dictionary->entries()) surrender(child);
    }
    delete dying;
  }
}

void Value::detach() {
  if (payload_.node->references.load(std::memory_order_acquire) == 1) return;
  Node* copy = new Node(payload_.node->content);
  release(payload_.node);
  payload_.node = copy;
}

const bool* Value::boolean() const noexcept {
  return type_ == Type::kBoolean ? &payload_.boolean : nullptr;
}
const std::int64_t* Value::integer() const noexcept {
  return type_ == Type::kInteger ? &payload_.integer : nullptr;
}
const double* Value::number() const noexcept {
  return type_ == Type::kDouble ? &payload_.number : nullptr;
}
const Date* Value::date() const noexcept { return type_ == Type::kDate ? &payload_.date : nullptr; }
const std::string* Value::text() const noexcept {
  return type_ == Type::kText ? std::get_if<std::string>(&payload_.node->content) : nullptr;
}
const Bytes* Value::bytes() const noexcept {
  return type_ == Type::kBytes ? std::get_if<Bytes>(&payload_.node->content) : nullptr;
}
const Value::Array* Value::array() const noexcept {
  return type_ == Type::kArray ? std::get_if<Array>(&payload_.node->content) : nullptr;
}
const Dictionary* Value::dictionary() const noexcept {
  return type_ == Type::kDictionary ? std::get_if<Dictionary>(&payload_.node->content) : nullptr;
}

std::optional<double> Value::asDouble() const noexcept {
  if (type_ == Type::kDouble) return payload_.number;
  if (type_ == Type::kInteger) return static_cast<double>(payload_.integer);
  return std::nullopt;
}

Value::Array* Value::mutableArray() {
  if (type_ != Type::kArray) return nullptr;
  detach();
  return std::get_if<Array>(&payload_.node->content);
}

Dictionary* Value::mutableDictionary() {
  if (type_ != Type::kDictionary) return nullptr;
  detach();
  return std::get_if<Dictionary>(&payload_.node->content);
}

// Compares two values of one type; the children of containers are left to `pending`.
static bool sameContent(const Value& a, const Value& b,
                        std::vector<std::pair<const Value*, const Value*>>& pending) {
  switch (a.type()) {
    case Value::Type::kNull:
      return true;
    case Value::Type::kBoolean:
      return *a.boolean() == *b.boolean();
    case Value::Type::kInteger:
      return *a.integer() == *b.integer();
    case Value::Type::kDouble:
      return *a.number() == *b.number();
    case Value::Type::kDate:
      return *a.date() == *b.date();
    case Value::Type::kText:
      return *a.text() == *b.text();
    case Value::Type::kBytes:
      return *a.bytes() == *b.bytes();
    case Value::Type::kArray:
      if (a.array()->size() != b.array()->size()) return false;
      for (std::size_t i = 0; i < a.array()->size(); ++i) {
        pending.emplace_back(&(*a.array())[i], &(*b.array())[i]);
      }
      return true;
    case Value::Type::kDictionary:
      if (a.dictionary()->size() != b.dictionary()->size()) return false;
      for (const auto& [key, value] : *a.dictionary()) {
        const Value* other = b.dictionary()->find(key);
        if (other == nullptr) return false;
        pending.emplace_back(&value, other);
      }
      return true;
  }
  return false;
}

bool operator==(const Value& left, const Value& right) {
  std::vector<std::pair<const Value*, const Value*>> pending{{&left, &right}};
  while (!pending.empty()) {
    const auto [a, b] = pending.back();
    pending.pop_back();
    if (a->type() != b->type() || !sameContent(*a, *b, pending)) return false;
  }
  return true;
}

}  // namespace quarnel
