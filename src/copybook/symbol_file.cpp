// SymbolTable::Save and Load. The saved form is text: the line "tolvane-symbols 1", then integers,
// each with a blank after it, and strings, each as its length, a colon and its bytes, in the order
// in which the functions called Transfer below name them; last the FNV-1a hash of all before it.
//
// Of the links between fields only the parent is kept, always an earlier field; the others are
// made again by adding the fields in their order. What is read is checked wherever a wrong value
// could lead anywhere: numbers of fields, enumerations, counts.
#include <charconv>
#include <concepts>
#include <type_traits>

#include "copybook/symbol_table.h"

namespace tolvane::copybook {
namespace {

constexpr std::string_view kHeader = "tolvane-symbols 1\n";

std::uint64_t Hash(std::string_view bytes) {
  std::uint64_t hash = 0xCBF29CE484222325U;
  for (const char c : bytes) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3U;
  return hash;
}

class Writer {
 public:
  static constexpr bool kReads = false;

  template <typename T>
  void Number(const T& value) {
    out_ += std::to_string(static_cast<std::int64_t>(value)) + ' ';
  }
  void Text(const std::string& text) {
    out_ += std::to_string(text.size()) + ':';
    out_ += text;
  }
  void Count(std::size_t count) { Number(count); }
  [[nodiscard]] std::string Finish() const { return Seal(out_); }

 private:
  std::string out_;
};

// After the first value that cannot be read, `good()` is false and all values are 0 or empty.
class Reader {
 public:
  static constexpr bool kReads = true;

  explicit Reader(std::string_view bytes) : rest_(bytes) {
    const std::size_t end = bytes.rfind(' ');
    good_ = bytes.starts_with(kHeader) && end != std::string_view::npos &&
            bytes.substr(end + 1) == std::to_string(Hash(bytes.substr(0, end + 1)));
    if (!good_) return;
    rest_ = bytes.substr(kHeader.size(), end + 1 - kHeader.size());
  }

  template <typename T>
  void Number(T& value) {
    if constexpr (std::is_enum_v<T>) {
      std::underlying_type_t<T> number{};
      Number(number);
      value = static_cast<T>(number);
    } else {
      const std::int64_t number = Take(' ');
      value = static_cast<T>(number);
      if (static_cast<std::int64_t>(value) != number) Spoil();
      if (!good_) value = T{};
    }
  }
  void Text(std::string& text) {
    std::size_t size = static_cast<std::size_t>(Take(':'));
    if (size > rest_.size()) Spoil();
    if (!good_) size = 0;
    text = rest_.substr(0, size);
    rest_.remove_prefix(size);
  }
  // Of things that take a byte each at least.
  void Count(std::size_t& count) {
    Number(count);
    if (count > rest_.size()) {
      Spoil();
      count = 0;
    }
  }
  void Check(bool right) {
    if (!right) Spoil();
  }
  [[nodiscard]] bool good() const { return good_; }
  [[nodiscard]] bool AtEnd() const { return good_ && rest_.empty(); }

 private:
  void Spoil() {
    good_ = false;
    rest_ = {};
  }

  std::int64_t Take(char end) {
    std::int64_t number = 0;
    const auto [stop, error] = std::from_chars(rest_.data(), rest_.data() + rest_.size(), number);
    const auto used = static_cast<std::size_t>(stop - rest_.data());
    if (error != std::errc() || used >= rest_.size() || rest_[used] != end) {
      Spoil();
      return 0;
    }
    rest_.remove_prefix(used + 1);
    return number;
  }

  std::string_view rest_;
  bool good_ = false;
};

// A T that a Writer sees as const and a Reader fills in.
template <typename T, typename U>
concept Either = std::same_as<std::remove_const_t<T>, U>;

template <typename Io, typename Items, typename Each>
void List(Io& io, Items& items, Each&& each) {
  std::size_t count = items.size();
  io.Count(count);
  if constexpr (Io::kReads) {
    while (items.size() < count && io.good()) each(items.emplace_back());
  } else {
    for (const auto& item : items) each(item);
  }
}

template <typename Io, Either<std::vector<std::string>> T>
void Transfer(Io& io, T& texts) {
  List(io, texts, [&](auto& text) { io.Text(text); });
}

template <typename Io, Either<Place> T>
void Transfer(Io& io, T& place) {
  io.Number(place.file);
  io.Number(place.line);
  io.Number(place.column);
}

template <typename Io, Either<Literal> T>
void Transfer(Io& io, T& literal) {
  io.Number(literal.kind);
  io.Number(literal.sign);
  io.Number(literal.all);
  io.Number(literal.figurative);
  io.Text(literal.text);
  Transfer(io, literal.place);
}

template <typename Io, Either<std::vector<ValueRange>> T>
void Transfer(Io& io, T& values) {
  List(io, values, [&](auto& range) {
    Transfer(io, range.from);
    Transfer(io, range.thru);
  });
}

template <typename Io, Either<RecordDescription> T>
void Transfer(Io& io, T& record) {
  io.Text(record.name);
  io.Number(record.length);
  io.Number(record.aux_length);
}

// All of a field but its level, name and links.
template <typename Io, Either<Field> T>
void Transfer(Io& io, T& field) {
  io.Number(field.usage);
  io.Number(field.kind);
  for (auto* size : {&field.offset, &field.length, &field.aux_offset, &field.aux_length,
                     &field.stride, &field.aux_stride, &field.occurs.min, &field.occurs.max})
    io.Number(*size);
  for (auto* bits :
       {&field.bit, &field.aux_bit, &field.bits_per_byte, &field.bit_stride, &field.aux_bit_stride})
    io.Number(*bits);
  io.Text(field.picture);
  io.Number(field.category);
  for (auto* number : {&field.digits, &field.decimals, &field.occurs_depth}) io.Number(*number);
  io.Number(field.sign);
  for (auto* flag : {&field.is_signed, &field.sign_separate, &field.synchronized, &field.justified,
                     &field.blank_when_zero, &field.external, &field.global, &field.incomplete,
                     &field.occurs.clause})
    io.Number(*flag);
  for (auto* names : {&field.occurs.depending_on, &field.occurs.keys, &field.occurs.indexes})
    Transfer(io, *names);
  Transfer(io, field.values);
  List(io, field.conditions, [&](auto& condition) {
    io.Text(condition.name);
    Transfer(io, condition.values);
    Transfer(io, condition.when_false);
    Transfer(io, condition.place);
  });
  for (auto* span : {&field.source.entry, &field.source.picture_clause, &field.source.picture,
                     &field.source.usage, &field.source.sign, &field.source.sync}) {
    Transfer(io, span->begin);
    Transfer(io, span->end);
  }
}

bool IsPlausible(const Field& field) {
  return static_cast<int>(field.kind) < kUsages && field.category <= Category::kNational &&
         field.sign <= SignPlace::kLeading && field.occurs.max >= 1 &&
         (field.bits_per_byte == 8 || field.bits_per_byte == 9);
}

// Field numbers as saved: 0 for none.
std::size_t NumberOf(const Field* field) { return field == nullptr ? 0 : field->number + 1; }

}  // namespace

class SymbolFile {
 public:
  static std::string Save(const SymbolTable& table) {
    Writer out;
    Transfer(out, table.files_);
    List(out, table.records_, [&](const RecordDescription& record) {
      out.Number(NumberOf(record.first));
      Transfer(out, record);
    });
    out.Count(table.fields_.size());
    for (const Field& field : table.fields_) {
      out.Number(field.level);
      out.Text(field.name);
      out.Number(NumberOf(field.parent));
      out.Number(NumberOf(field.redefines));
      out.Number(NumberOf(field.renames_thru));
      out.Number(NumberOf(field.occurs.depending));
      Transfer(out, field);
    }
    return out.Finish();
  }

  explicit SymbolFile(SymbolTable& table) : table_(table) {}

  bool Load(std::string_view bytes) {
    Reader in(bytes);
    Transfer(in, table_.files_);
    std::vector<std::size_t> firsts;
    List(in, table_.records_, [&](RecordDescription& record) {
      in.Number(firsts.emplace_back());
      Transfer(in, record);
    });
    std::size_t count = 0;
    in.Count(count);
    std::vector<Field*> last_child(count + 1, nullptr);  // by the parent's saved number
    auto first = firsts.begin();
    for (std::size_t number = 1; number <= count && in.good(); ++number) {
      if (first != firsts.end() && *first == number) {
        last_child[0] = nullptr;
        Field& field = LoadField(in, number, last_child);
        table_.records_[static_cast<std::size_t>(first++ - firsts.begin())].first = &field;
      } else {
        LoadField(in, number, last_child);
      }
    }
    for (const auto& [field, number] : depending_) {
      in.Check(number <= table_.fields_.size());
      field->occurs.depending = table_.GetSymNum(number - 1);
    }
    return in.AtEnd() && first == firsts.end();
  }

 private:
  Field& LoadField(Reader& in, std::size_t number, std::vector<Field*>& last_child) {
    int level = 0;
    std::string name;
    std::size_t parent = 0, redefines = 0, thru = 0, depending = 0;
    in.Number(level);
    in.Text(name);
    for (std::size_t* link : {&parent, &redefines, &thru, &depending}) in.Number(*link);
    in.Check(parent < number && redefines < number && thru < number);
    if (!in.good()) parent = redefines = thru = depending = 0;
    Field& field =
        table_.Add(level, std::move(name), parent == 0 ? nullptr : At(parent), last_child[parent]);
    if (level != 66) last_child[parent] = &field;
    field.redefines = At(redefines);
    field.renames_thru = At(thru);
    if (depending != 0) depending_.emplace_back(&field, depending);
    Transfer(in, field);
    in.Check(IsPlausible(field));
    for (const Condition& condition : field.conditions)
      ++table_.conditions_[ToUpper(condition.name)];
    return field;
  }

  Field* At(std::size_t number) const {
    return number == 0 ? nullptr : &table_.fields_[number - 1];
  }

  SymbolTable& table_;
  std::vector<std::pair<Field*, std::size_t>> depending_;
};

std::string Seal(std::string_view body) {
  std::string file{kHeader};
  file += body;
  return file + std::to_string(Hash(file));
}

std::string SymbolTable::Save() const { return SymbolFile::Save(*this); }

bool SymbolTable::Load(std::string_view bytes) {
  *this = SymbolTable();
  if (SymbolFile(*this).Load(bytes)) return true;
  *this = SymbolTable();
  return false;
}

}  // namespace tolvane::copybook
