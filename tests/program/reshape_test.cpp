// Random copybooks of groups, tables and redefinitions: exploded records against what the generator
// expects, and their restoration through the copybook that the explosion wrote.

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "support/program.h"
#include "support/temp_dir.h"

namespace tolvane::test {
namespace {

constexpr const char* kUnused = "";

// One occurrence of a field, as the three records hold it.
struct Bytes {
  std::string in;        // EBCDIC
  std::string exploded;  // ASCII
  std::string again;     // EBCDIC, through the exploded copybook

  Bytes& operator+=(const Bytes& other) {
    in += other.in;
    exploded += other.exploded;
    again += other.again;
    return *this;
  }
};

std::string Ebcdic(const std::string& text) {
  constexpr std::size_t kCodes = 4;
  const char* const signs = " +-A";
  const unsigned codes[kCodes] = {0x40, 0x4E, 0x60, 0xC1};
  std::string all;
  for (const char c : text) {
    const auto* const sign = std::find(signs, signs + kCodes, c);
    all += static_cast<char>(sign == signs + kCodes ? 0xF0 + (c - '0') : codes[sign - signs]);
  }
  return all;
}

Bytes Text(const std::string& text) { return {Ebcdic(text), text, Ebcdic(text)}; }

struct Item {
  std::string name;
  char kind = 'G';  // G: group; X, N: text; S: zoned; P, U: packed; 6: packed without sign; B
  int digits = 0, occurs = 1;
  std::vector<std::vector<Item>> places{};  // a member and its redefinitions
  bool applies = true;                      // to some records

  [[nodiscard]] std::size_t Before() const;
  [[nodiscard]] std::size_t Growth() const;
};

std::size_t Before(const std::vector<Item>& place) {
  std::size_t most = 0;
  for (const Item& item : place) most = std::max(most, item.Before());
  return most;
}

std::size_t Growth(const std::vector<Item>& place) {
  std::size_t most = 0;
  for (const Item& item : place)
    if (item.applies) most = std::max(most, item.Growth());
  return most;
}

// Bytes of all occurrences.
std::size_t Item::Before() const {
  std::size_t bytes = static_cast<std::size_t>(digits);
  if (kind == 'P' || kind == 'U') bytes = bytes / 2 + 1;
  if (kind == '6') bytes = (bytes + 1) / 2;
  if (kind == 'B') bytes = 2;
  for (const auto& place : places) bytes += tolvane::test::Before(place);
  return bytes * static_cast<std::size_t>(occurs);
}

std::size_t Item::Growth() const {
  const auto width = static_cast<std::size_t>(digits);
  std::size_t bytes = 0;
  if (kind == 'S') bytes = 1;
  if (kind == 'P') bytes = width + 1 - (width / 2 + 1);
  if (kind == 'U') bytes = width - (width / 2 + 1);
  if (kind == '6') bytes = width - (width + 1) / 2;
  for (const auto& place : places) bytes += tolvane::test::Growth(place);
  return bytes * static_cast<std::size_t>(occurs);
}

class RandomBook {
 public:
  explicit RandomBook(unsigned seed) : random_(seed) {
    top_.kind = 'G';
    const int places = Pick(1, 4);
    for (int i = 0; i < places; ++i) top_.places.push_back(Place(2, true));
    text_ = "       01 R.\n           05 K PIC X.\n";
    Write(top_, 5);
    text_ += "           05 Z PIC X(3).\n";
  }

  [[nodiscard]] std::string Text() const { return text_ + conditions_; }
  [[nodiscard]] const std::string& conditions() const { return conditions_; }
  // A record of each kind that a condition selects, and one that none does.
  Bytes Records() {
    Bytes all;
    for (const std::string& used : used_) {
      all += test::Text(std::string(1, static_cast<char>('0' + (&used - used_.data()))));
      for (const auto& place : top_.places) all += Value(place, used);
      all += test::Text("AAA");
    }
    return all;
  }
  [[nodiscard]] std::size_t records() const { return used_.size(); }

 private:
  int Pick(int least, int most) { return std::uniform_int_distribution(least, most)(random_); }
  std::string Name(char kind) { return std::string("F") + kind + std::to_string(++names_); }

  // A member, with redefinitions of it where they are wanted; those of the record are used.
  std::vector<Item> Place(int depth, bool may_be_used) {
    const int layouts = depth > 0 ? Pick(1, 3) : 1;
    std::vector<Item> place;
    for (int i = 0; i < layouts; ++i) {
      place.push_back(Member(depth, layouts > 1 && i == 0));
      constexpr std::size_t kMostConditions = 8;
      place.back().applies =
          i == 0 || (may_be_used && used_.size() <= kMostConditions && Pick(0, 3) > 0);
      if (i == 0 || !place.back().applies) continue;
      conditions_ += "       ID IS K = '" + std::to_string(used_.size()) + "' USE " +
                     place.back().name + ".\n";
      used_.push_back(place.back().name);
    }
    return place;
  }

  Item Member(int depth, bool only_text) {
    if (depth > 0 && Pick(0, 2) > 0) {
      Item group{Name('G'), 'G', 0, only_text ? 1 : Pick(1, 2), {}};
      const int places = Pick(1, 3);
      for (int i = 0; i < places; ++i)
        group.places.push_back(only_text ? std::vector{Member(depth - 1, true)}
                                         : Place(depth - 1, false));
      return group;
    }
    const char kind = only_text ? 'X' : "XNSPU6B"[Pick(0, 6)];
    return {Name(kind), kind, Pick(1, 7), only_text ? 1 : Pick(1, 2), {}};
  }

  void Write(const Item& group, int level) {
    for (const auto& place : group.places)
      for (const Item& item : place) {
        text_ += std::string(11, ' ') + (level < 10 ? "0" : "") + std::to_string(level) + " " +
                 item.name;
        if (&item != &place.front()) text_ += " REDEFINES " + place.front().name;
        if (item.occurs > 1) text_ += " OCCURS " + std::to_string(item.occurs);
        if (item.kind != 'G') text_ += Clauses(item);
        text_ += ".\n";
        Write(item, level + 5);
      }
  }

  static std::string Clauses(const Item& item) {
    const std::string digits = "9(" + std::to_string(item.digits) + ")";
    switch (item.kind) {
      case 'X':
        return " PIC X(" + std::to_string(item.digits) + ")";
      case 'S':
        return "\n             PIC S" + digits;
      case 'P':
        return "\n             PIC S" + digits + " COMP-3";
      case 'U':
        return "\n             PIC " + digits + " PACKED-DECIMAL";
      case '6':
        return "\n             PIC " + digits + " COMP-6";
      case 'B':
        return " PIC S9(4) COMP";
      default:
        return " PIC " + digits;
    }
  }

  Bytes Value(const std::vector<Item>& place, const std::string& used) {
    const auto layout = std::find_if(place.begin(), place.end(),
                                     [&](const Item& item) { return item.name == used; });
    const Item& item = layout == place.end() ? place.front() : *layout;
    Bytes bytes;
    for (int i = 0; i < item.occurs; ++i) bytes += Value(item);
    bytes += test::Text(std::string(test::Before(place) - bytes.in.size(), 'A'));
    const std::size_t end = test::Before(place) + test::Growth(place);
    bytes.again += Ebcdic(std::string(end - bytes.exploded.size(), ' '));
    bytes.exploded.resize(end, ' ');
    return bytes;
  }

  Bytes Value(const Item& item) {
    if (item.kind == 'G') {
      Bytes bytes;
      for (const auto& place : item.places) bytes += Value(place, kUnused);
      return bytes;
    }
    if (item.kind == 'B') {
      const std::string raw{static_cast<char>(Pick(0, 255)), static_cast<char>(Pick(0, 255))};
      return {raw, raw, raw};
    }
    std::string digits;
    for (int i = 0; i < item.digits; ++i) digits += static_cast<char>('0' + Pick(0, 9));
    if (item.kind == 'X' || item.kind == 'N') return test::Text(digits);
    const bool negative = Pick(0, 1) == 1, is_signed = item.kind == 'S' || item.kind == 'P';
    Bytes bytes = test::Text((is_signed ? negative ? "-" : "+" : "") + digits);
    bytes.in = item.kind == 'S' ? Ebcdic(digits) : Packed(item.kind, digits, negative);
    if (item.kind == 'S')
      bytes.in.back() = static_cast<char>((bytes.in.back() & 0x0F) | (negative ? 0xD0 : 0xC0));
    return bytes;
  }

  static std::string Packed(char kind, const std::string& digits, bool negative) {
    std::string nibbles = digits;
    if (kind != '6') nibbles += kind == 'U' ? 'F' : negative ? 'D' : 'C';
    return FromHex((nibbles.size() % 2 == 1 ? "0" : "") + nibbles);
  }

  std::mt19937 random_;
  int names_ = 0;
  Item top_;
  std::string text_, conditions_;
  std::vector<std::string> used_{kUnused};  // by the digit in K
};

TEST(Reshape, ExplodedRecordsAreWhatTheirCopybookDescribes) {
  const TempDir dir;
  const auto run = [&dir](const std::string& statements, const std::string& book,
                          const std::string& in) {
    dir.WriteFile("in", in);
    dir.WriteFile("book.cpy", book);
    dir.WriteFile("job.gra",
                  "RESTORE CREATE\nINPUT FILE IS in\nOUTPUT FILE IS out\nCOMPILER IS MF\n"
                  "AUTOMATIC ANSWER\nZORVA FILE IS SEQUENTIAL\n" +
                      statements + "\nCOPYBOOK IS COPY book.cpy\n");
    return RunTolvane(dir.Path(), {"-G", "job.gra", "-Q"});
  };
  for (unsigned seed = 0; seed < 60; ++seed) {
    RandomBook book(seed);
    const Bytes records = book.Records();
    const ProgramResult first =
        run("TRANSLATE TO ASCII\nEXPLODE SIGN LEADING", book.Text(), records.in);
    ASSERT_EQ(dir.ReadFile("out"), records.exploded) << seed << book.Text() << first.err;
    const std::string exploded = dir.ReadFile("book.cpy.EXP");
    const ProgramResult again = run("TRANSLATE TO EBCDIC", exploded, records.exploded);
    ASSERT_EQ(ToHex(dir.ReadFile("out")), ToHex(records.again)) << seed << exploded << again.err;
    const std::size_t size = records.exploded.size() / book.records();
    ASSERT_NE(again.out.find("record size: " + std::to_string(size) + " ="), std::string::npos)
        << seed << exploded;
  }
}

}  // namespace
}  // namespace tolvane::test
