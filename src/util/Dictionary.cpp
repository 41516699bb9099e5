#include <QuarnelTvOsLib/Value.h>

#include <algorithm>
#include <initializer_list>
#include <unordered_map>

namespace quarnel {
namespace {

// Below this size a scan is faster than hashing, and most dictionaries stay below it.
constexpr std::size_t kScanLimit = 48;
constexpr std::size_t kNotFound = static_cast<std::size_t>(-1);

}  // namespace

class Dictionary::Index {
 public:
  explicit Index(const std::vector<Entry>& entries) {
    positions_.reserve(entries.size() * 2);
    for (std::size_t i = 0; i < entries.size(); ++i) positions_.emplace(entries[i].first, i);
  }

  std::size_t find(std::string_view key) const {
    const auto found = positions_.find(std::string(key));
    return found == positions_.end() ? kNotFound : found->second;
  }
  void add(const std::string& key, std::size_t position) { positions_.emplace(key, position); }

 private:
  std::unordered_map<std::string, std::size_t> positions_;
};

Dictionary::Dictionary() = default;
Dictionary::Dictionary(std::initializer_list<Entry> entries) {
  for (const Entry& entry : entries) set(entry.first, entry.second);
}
Dictionary::Dictionary(const Dictionary& other) : entries_(other.entries_) {
  if (other.index_) index_ = std::make_unique<Index>(entries_);
}
Dictionary::Dictionary(Dictionary&& other) noexcept
    : entries_(std::move(other.entries_)), index_(std::move(other.index_)) {
  other.entries_.clear();
}
Dictionary& Dictionary::operator=(const Dictionary& other) {
  if (this != &other) *this = Dictionary(other);
  return *this;
}
Dictionary& Dictionary::operator=(Dictionary&& other) noexcept {
  entries_.swap(other.entries_);
  index_.swap(other.index_);
  return *this;
}
Dictionary::~Dictionary() = default;

std::size_t Dictionary::position(std::string_view key) const {
  if (index_) return index_->find(key);
  const auto found = std::find_if(entries_.begin(), entries_.end(),
                                  [key](const Entry& entry) { return entry.first == key; });
  return found == entries_.end() ? kNotFound : static_cast<std::size_t>(found - entries_.begin());
}

const Value* Dictionary::find(std::string_view key) const {
  const std::size_t at = position(key);
  return at == kNotFound ? nullptr : &entries_[at].second;
}

Value* Dictionary::find(std::string_view key) {
  const std::size_t at = position(key);
  return at == kNotFound ? nullptr : &entries_[at].second;
}

namespace {

template <typename T>
std::optional<T> copied(const T* content) {
  return content != nullptr ? std::optional<T>(*content) : std::nullopt;
}

// The content under a key by one of Value's accessors; null when there is none.
template <typename T>
const T* content(const Dictionary& dictionary, std::string_view key,
                 const T* (Value::*accessor)() const noexcept) {
  const Value* value = dictionary.find(key);
  return value != nullptr ? (value->*accessor)() : nullptr;
}

}  // namespace

std::optional<bool> Dictionary::boolean(std::string_view key) const {
  return copied(content(*this, key, &Value::boolean));
}
std::optional<std::int64_t> Dictionary::integer(std::string_view key) const {
  return copied(content(*this, key, &Value::integer));
}
std::optional<double> Dictionary::number(std::string_view key) const {
  const Value* value = find(key);
  return value != nullptr ? value->asDouble() : std::nullopt;
}
std::optional<Date> Dictionary::date(std::string_view key) const {
  return copied(content(*this, key, &Value::date));
}
const std::string* Dictionary::text(std::string_view key) const {
  return content(*this, key, &Value::text);
}
const Bytes* Dictionary::bytes(std::string_view key) const {
  return content(*this, key, &Value::bytes);
}
const Value::Array* Dictionary::array(std::string_view key) const {
  return content(*this, key, &Value::array);
}
const Dictionary* Dictionary::dictionary(std::string_view key) const {
  return content(*this, key, &Value::dictionary);
}

void Dictionary::set(std::string key, Value value) {
  if (Value* existing = find(key)) {
    *existing = std::move(value);
    return;
  }
  if (index_) index_->add(key, entries_.size());
  entries_.emplace_back(std::move(key), std::move(value));
  if (!index_ && entries_.size() > kScanLimit) index_ = std::make_unique<Index>(entries_);
}

bool Dictionary::remove(std::string_view key) {
  const std::size_t at = position(key);
  if (at == kNotFound) return false;
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(at));
  index_ = entries_.size() > kScanLimit ? std::make_unique<Index>(entries_) : nullptr;
  return true;
}

void Dictionary::removeNulls() {
  const std::size_t before = entries_.size();
  std::erase_if(entries_, [](const Entry& entry) { return entry.second.isNull(); });
  if (entries_.size() == before) return;
  index_ = entries_.size() > kScanLimit ? std::make_unique<Index>(entries_) : nullptr;
}

}  // namespace quarnel
