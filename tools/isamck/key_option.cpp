#include "key_option.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <vector>

#include "number.h"

namespace isamck {
namespace {

// By KeyType.
constexpr const char* kTypeNames[kTypes] = {"char",  "int",  "long",  "double",
                                            "float", "mint", "mlong", "string"};

std::vector<std::string> Split(const std::string& text, char separator) {
  std::istringstream in(text);
  std::vector<std::string> words;
  for (std::string word; std::getline(in, word, separator);) words.push_back(word);
  return words;
}

// What may stand behind start and length; the flags are the whole key's.
bool TakeWord(const std::string& word, KeyPart& part, unsigned& flags) {
  const auto* const type = std::find(std::begin(kTypeNames), std::end(kTypeNames), word);
  if (type != std::end(kTypeNames)) {
    part.type = static_cast<KeyType>(type - std::begin(kTypeNames));
  } else if (word == "desc") {
    part.descending = true;
  } else if (word == "dups") {
    flags |= kDuplicates;
  } else if (word.starts_with("flags=")) {
    const auto given = tolvane::NumberOf(word.substr(6));
    if (!given || (*given & ~kStorageFlags) != 0) return false;
    flags |= static_cast<unsigned>(*given);
  } else {
    return false;
  }
  return true;
}

std::optional<KeyPart> ParsePart(const std::string& text, unsigned& flags) {
  const auto words = Split(text, ',');
  if (words.size() < 2 || !tolvane::NumberOf(words[0]) || !tolvane::NumberOf(words[1]))
    return std::nullopt;
  KeyPart part{.start = *tolvane::NumberOf(words[0]), .length = *tolvane::NumberOf(words[1])};
  for (std::size_t i = 2; i < words.size(); ++i)
    if (!TakeWord(words[i], part, flags)) return std::nullopt;
  if (part.length % UnitOf(part.type) != 0) return std::nullopt;
  return part;
}

}  // namespace

std::optional<Key> ParseKeyOption(const std::string& text) {
  Key key;
  for (const std::string& word : Split(text, '+')) {
    const auto part = ParsePart(word, key.flags);
    if (!part) return std::nullopt;
    key.length += part->length;
    key.parts.push_back(*part);
  }
  if (key.parts.size() > kMostParts || key.length == 0 || key.length > kMostKeyBytes)
    return std::nullopt;
  return key;
}

}  // namespace isamck
