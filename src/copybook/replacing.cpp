#include "copybook/replacing.h"

#include <algorithm>
#include <string_view>

#include "copybook/words.h"

namespace tolvane::copybook {
namespace {

struct TextWord {
  std::size_t begin, end;
};

bool PartsWords(std::string_view text, std::size_t at) {
  const char c = text[at];
  if (IsBlank(c) || c == '(' || c == ')' || c == ':' || c == '"' || c == '\'') return true;
  const bool separator = c == '.' || c == ',' || c == ';';
  return separator && (at + 1 == text.size() || IsBlank(text[at + 1]));
}

std::size_t LiteralEnd(std::string_view text, std::size_t at) {
  const std::size_t close = text.find(text[at], at + 1);
  return close == std::string_view::npos ? text.size() : close + 1;
}

// Commas and semicolons that separate are words of their own, so that nothing is lost.
std::vector<TextWord> WordsOf(std::string_view text) {
  std::vector<TextWord> words;
  for (std::size_t at = 0; at < text.size();) {
    if (IsBlank(text[at])) {
      ++at;
      continue;
    }
    std::size_t end = at;
    if (text[at] == '"' || text[at] == '\'') {
      end = LiteralEnd(text, at);
    } else {
      while (end < text.size() && !PartsWords(text, end)) ++end;
      end = std::max(end, at + 1);
    }
    words.push_back({at, end});
    at = end;
  }
  return words;
}

// One pair with the words to look for.
struct Rule {
  const Replacement* replacement;
  std::vector<std::string_view> words;
};

class Replacer {
 public:
  Replacer(const SourceText& source, const std::vector<Replacement>& replacing)
      : source_(source), text_(source.text()), words_(WordsOf(text_)) {
    for (const Replacement& replacement : replacing) {
      Rule rule{&replacement, {}};
      for (const TextWord& word : WordsOf(replacement.from))
        rule.words.push_back(
            std::string_view(replacement.from).substr(word.begin, word.end - word.begin));
      if (!rule.words.empty()) rules_.push_back(std::move(rule));
    }
  }

  bool Run(SourceText& out, std::size_t limit) {
    std::size_t copied = 0;  // of the old text
    for (std::size_t i = 0; i < words_.size();) {
      if (out.text().size() > limit) return false;
      Match match;
      if (!Find(i, match)) {
        ++i;
        continue;
      }
      out.AppendFrom(source_, copied, match.begin);
      out.Append(match.to, source_.PlaceAt(match.begin));
      copied = match.end;
      i = match.next;
    }
    out.AppendFrom(source_, copied, text_.size());
    return out.text().size() <= limit;
  }

 private:
  struct Match {
    std::size_t begin = 0, end = 0;
    std::size_t next = 0;  // word
    std::string_view to;
  };

  std::string_view Word(std::size_t i) const {
    return text_.substr(words_[i].begin, words_[i].end - words_[i].begin);
  }

  bool Find(std::size_t i, Match& match) const {
    return std::any_of(rules_.begin(), rules_.end(), [&](const Rule& rule) {
      match.to = rule.replacement->to;
      return rule.replacement->where == Replacement::Where::kWords ? MatchWords(rule, i, match)
                                                                   : MatchPart(rule, i, match);
    });
  }

  bool MatchWords(const Rule& rule, std::size_t i, Match& match) const {
    const std::size_t count = rule.words.size();
    if (i + count > words_.size()) return false;
    for (std::size_t k = 0; k < count; ++k)
      if (!EqualsIgnoreCase(Word(i + k), rule.words[k])) return false;
    match.begin = words_[i].begin;
    match.end = words_[i + count - 1].end;
    match.next = i + count;
    return true;
  }

  // LEADING and TRAILING exchange the beginning or the end of one word.
  bool MatchPart(const Rule& rule, std::size_t i, Match& match) const {
    const std::string_view word = Word(i), part = rule.words.front();
    if (word.size() < part.size()) return false;
    const bool leading = rule.replacement->where == Replacement::Where::kLeading;
    const std::size_t at = leading ? 0 : word.size() - part.size();
    if (!EqualsIgnoreCase(word.substr(at, part.size()), part)) return false;
    match.begin = words_[i].begin + at;
    match.end = match.begin + part.size();
    match.next = i + 1;
    return true;
  }

  const SourceText& source_;
  std::string_view text_;
  std::vector<TextWord> words_;
  std::vector<Rule> rules_;
};

}  // namespace

bool ReplaceWords(SourceText& source, const std::vector<Replacement>& replacing,
                  std::size_t limit) {
  SourceText out;
  if (!Replacer(source, replacing).Run(out, limit)) return false;
  source = std::move(out);
  return true;
}

}  // namespace tolvane::copybook
