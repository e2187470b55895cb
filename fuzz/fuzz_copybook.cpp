// The data-description compiler: the first byte chooses the settings and how the text is read. What
// follows the first zero byte is what every COPY brings in. ID IS conditions after the description
// are parsed. A description without errors must lie within its records, and outlive saving.

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "copybook/compiler.h"
#include "copybook/expression.h"
#include "copybook/table_index.h"

namespace {

using namespace tolvane::copybook;

void Require(bool holds) {
  if (!holds) std::abort();
}

Settings ChooseSettings(unsigned choice) {
  Settings settings = (choice & 1U) != 0 ? Settings::For36BitData() : Settings();
  settings.bit_to_byte = (choice & 2U) == 0;
  settings.truncate_bits = (choice & 4U) != 0;
  return settings;
}

void CheckRecord(const RecordDescription& record, const Field* next_record) {
  for (const Field* field = record.first; field != next_record; field = field->next) {
    TableIndex index(*field);
    const TableIndex first = index;
    std::vector<std::int64_t> last;
    for (const Field* at = field; at != nullptr; at = at->parent)
      if (at->occurs.clause) last.insert(last.begin(), at->occurs.max);
    Require(index.SetSubscripts(last));
    // Bits of another occurrence may share fewer bytes with their neighbours than those of the
    // first.
    const bool is_bits = field->bit_stride > 0;
    const std::int64_t length = is_bits ? 1 : field->length;
    const std::int64_t aux_length = is_bits ? 1 : field->aux_length;
    Require(first.CalcIdxOffset() >= 0 && index.CalcIdxOffset() + length <= record.length);
    Require(first.CalcIdxAuxOffset() >= 0 &&
            index.CalcIdxAuxOffset() + aux_length <= record.aux_length);
  }
}

// What a table holds can be kept.
void CheckSave(const SymbolTable& table) {
  const std::string saved = table.Save();
  SymbolTable loaded;
  Require(loaded.Load(saved) && loaded.Save() == saved);
}

void CheckTable(const SymbolTable& table) {
  const auto& records = table.records();
  for (std::size_t i = 0; i < records.size(); ++i)
    CheckRecord(records[i], i + 1 < records.size() ? records[i + 1].first : nullptr);
  CheckSave(table);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count) {
  if (count == 0) return 0;
  const std::string text(bytes + 1, bytes + count);
  const std::size_t end = std::min(text.find('\0'), text.size());
  const OpenText open = [&](const std::string& path, std::string& out) {
    out = path == "T" ? text.substr(0, end) : text.substr(std::min(end + 1, text.size()));
    return true;
  };
  Diagnostics diagnostics([](const Diagnostic& found) { Require(!found.Text().empty()); });
  Lexer lexer(open, diagnostics);
  const bool description_only = (bytes[0] & 8U) != 0;
  Require(lexer.InitLex("T", description_only ? Reading::kCopybook : Reading::kFree));
  if (!description_only) lexer.BeginDescription();
  SymbolTable table;
  Compiler compiler(lexer, table, diagnostics, ChooseSettings(bytes[0]));
  if (compiler.CompileRecords()) CheckTable(table);
  while (lexer.GetToken().Is("ID") && lexer.GetToken().Is("IS"))
    if (!ExpressionParser(lexer, table, diagnostics).getExpr()) break;
  SymbolTable other;  // whether the text holds the values of one is the input's affair
  if (other.Load(Seal(text))) CheckSave(other);
  return 0;
}
