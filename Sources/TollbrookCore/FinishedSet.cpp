#include "TollbrookCore/FinishedSet.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "TollbrookCore/Support/Text.h"

namespace tollbrook {
namespace {

constexpr std::size_t blockSize = std::size_t{1} << 20;
constexpr std::size_t smallestTable = 64;
// Beyond seven tenths, open addressing with steps of one grows long chains.
constexpr std::size_t loadNumerator = 7;
constexpr std::size_t loadDenominator = 10;

bool isPassedOver(std::string_view line) { return line.empty() || line == "v1" || line.starts_with('#'); }

}  // namespace

FinishedSet::FinishedSet(std::string log, std::size_t reach) : reach_(reach), log_(std::move(log)) {
  // The torn line goes first: its cut may lie within a character.
  log_.resize(log_.rfind('\n') + 1);
  if (Text::isValidUtf8(log_)) {
    addLines();
  } else {
    std::string().swap(log_);  // assigning an empty string would keep the memory
  }
}

bool FinishedSet::isLine(std::string_view path) {
  return !isPassedOver(path) && path.find('\n') == std::string_view::npos && Text::isValidUtf8(path);
}

void FinishedSet::addLines() {
  growTable(static_cast<std::size_t>(std::count(log_.begin(), log_.end(), '\n')));
  for (std::size_t start = 0; start < log_.size();) {
    const std::size_t end = log_.find('\n', start);
    const auto line = std::string_view(log_).substr(start, end - start);
    if (isPassedOver(line)) {
      // no entry
    } else if (start > reach_) {
      if (table_[probe(line)] == 0) others_.emplace(line);
    } else if (Place& place = table_[probe(line)]; place == 0) {
      place = static_cast<Place>(start + 1);
      ++inTable_;
    }
    start = end + 1;
  }
}

bool FinishedSet::contains(std::string_view path) const {
  // A line feed would match the end of one entry and the beginning of the next.
  if (inTable_ > 0 && path.find('\n') == std::string_view::npos && table_[probe(path)] != 0) return true;
  return !others_.empty() && others_.contains(std::string(path));
}

bool FinishedSet::insert(std::string_view path) {
  if (contains(path)) return false;
  std::size_t position = 0;
  if (path.find('\n') != std::string_view::npos || !append(path, position)) {
    others_.emplace(path);
    return true;
  }
  if ((inTable_ + 1) * loadDenominator > table_.size() * loadNumerator) growTable(inTable_ + 1);
  table_[probe(path)] = static_cast<Place>(position + 1);
  ++inTable_;
  return true;
}

std::size_t FinishedSet::size() const { return inTable_ + others_.size(); }

void FinishedSet::forEach(const std::function<void(std::string_view)>& visit) const {
  for (const Place place : table_) {
    if (place != 0) visit(entryAt(place - std::size_t{1}));
  }
  for (const std::string& path : others_) visit(path);
}

std::string_view FinishedSet::textFrom(std::size_t position) const {
  if (position < log_.size()) return std::string_view(log_).substr(position);
  const std::size_t later = position - log_.size();
  return {blocks_[later / blockSize].get() + later % blockSize, blockSize - later % blockSize};
}

std::string_view FinishedSet::entryAt(std::size_t position) const {
  const std::string_view text = textFrom(position);
  return text.substr(0, text.find('\n'));
}

std::size_t FinishedSet::probe(std::string_view path) const {
  const std::size_t mask = table_.size() - 1;
  std::size_t slot = std::hash<std::string_view>()(path) & mask;
  for (; table_[slot] != 0; slot = (slot + 1) & mask) {
    const std::string_view text = textFrom(table_[slot] - std::size_t{1});
    if (text.size() > path.size() && text[path.size()] == '\n' && text.starts_with(path)) break;
  }
  return slot;
}

void FinishedSet::growTable(std::size_t entries) {
  const std::size_t wanted = entries * loadDenominator / loadNumerator + 1;
  const std::vector<Place> old = std::move(table_);
  table_.assign(std::bit_ceil(std::max(wanted, smallestTable)), 0);
  for (const Place place : old) {
    if (place != 0) table_[probe(entryAt(place - std::size_t{1}))] = place;
  }
}

bool FinishedSet::append(std::string_view path, std::size_t& position) {
  if (path.size() >= blockSize) return false;
  if (path.size() >= freeInBlock_) {
    if (log_.size() + (blocks_.size() + 1) * blockSize > reach_) return false;
    blocks_.push_back(std::make_unique<char[]>(blockSize));
    freeInBlock_ = blockSize;
  }
  const std::size_t start = blockSize - freeInBlock_;
  position = log_.size() + (blocks_.size() - 1) * blockSize + start;
  char* entry = blocks_.back().get() + start;
  std::memcpy(entry, path.data(), path.size());
  entry[path.size()] = '\n';
  freeInBlock_ -= path.size() + 1;
  return true;
}

}  // namespace tollbrook
