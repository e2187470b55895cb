#include "copybook/dump.h"

#include <cstdio>

namespace tolvane::copybook {
namespace {

void AddLiteral(std::string& out, const Literal& literal) {
  if (literal.kind == 'N') {
    if (literal.sign != ' ') out += literal.sign;
    out += literal.text;
    return;
  }
  if (literal.all) out += "ALL ";
  if (literal.kind != 'S') out += literal.kind;
  out += '\'';
  for (const char c : literal.text) {
    char hex[5];
    std::snprintf(hex, sizeof hex, "\\x%02X", static_cast<unsigned char>(c));
    if (c >= ' ' && c <= '~') {
      out += c;
    } else {
      out += hex;
    }
  }
  out += '\'';
}

void AddValues(std::string& out, const std::vector<ValueRange>& values) {
  for (const ValueRange& range : values) {
    out += ' ';
    AddLiteral(out, range.from);
    if (range.thru.kind == 0) continue;
    out += '-';
    AddLiteral(out, range.thru);
  }
}

void AddOccurs(std::string& out, const Occurs& occurs) {
  out += "  occurs ";
  if (occurs.min != occurs.max) out += std::to_string(occurs.min) + "-";
  out += std::to_string(occurs.max);
  for (std::size_t i = 0; i < occurs.depending_on.size(); ++i)
    out += (i == 0 ? " depending " : " of ") + occurs.depending_on[i];
}

void AddNumber(std::string& out, const char* title, std::int64_t value) {
  if (value != 0) out += std::string("  ") + title + " " + std::to_string(value);
}

void AddField(std::string& out, const Field& field) {
  char head[96];
  std::snprintf(head, sizeof head, "%5lld %5lld %c ", static_cast<long long>(field.offset),
                static_cast<long long>(field.length), field.usage);
  out += head;
  for (const Field* group = field.parent; group != nullptr && field.level != 66;
       group = group->parent)
    out += "  ";
  std::snprintf(head, sizeof head, "%02d ", field.level);
  out += head + (field.filler ? "FILLER" : field.name);
  AddNumber(out, "digits", field.digits);
  AddNumber(out, "decimals", field.decimals);
  if (field.is_signed) out += "  signed";
  if (field.sign == SignPlace::kLeading) out += " leading";
  if (field.sign_separate) out += " separate";
  if (field.usage == '1') out += "  bit " + std::to_string(field.bit);
  if (field.aux_offset != field.offset || field.aux_length != field.length ||
      field.aux_bit != field.bit) {
    out += "  aux " + std::to_string(field.aux_offset) + " " + std::to_string(field.aux_length);
    if (field.usage == '1') out += " bit " + std::to_string(field.aux_bit);
  }
  if (field.occurs.clause) AddOccurs(out, field.occurs);
  if (field.redefines != nullptr && field.level != 66)
    out += "  redefines " + (field.redefines->filler ? "FILLER" : field.redefines->name);
  if (!field.values.empty()) out += "  value";
  AddValues(out, field.values);
  for (const Condition& condition : field.conditions) {
    out += "  " + condition.name + " =";
    AddValues(out, condition.values);
  }
  out += '\n';
}

}  // namespace

std::string DumpTokens(Lexer& lexer) {
  std::string out;
  while (lexer.GetToken().kind != TokenKind::kEnd) {
    const Token& token = lexer.token();
    out += std::to_string(token.span.begin.line) + ":" + std::to_string(token.span.begin.column) +
           " " + static_cast<char>(token.kind) + " " + token.text + "\n";
  }
  return out;
}

std::string DumpLayout(const SymbolTable& table) {
  std::string out;
  auto record = table.records().begin();
  for (const Field* field = table.First(); field != nullptr; field = field->next) {
    if (record != table.records().end() && record->first == field) {
      out += "RECORD " + record->name + " length " + std::to_string(record->length);
      if (record->aux_length != record->length) out += " aux " + std::to_string(record->aux_length);
      out += '\n';
      ++record;
    }
    AddField(out, *field);
  }
  for (const Field* field : table.renames()) AddField(out, *field);
  return out;
}

std::string DumpExpression(const Expression& expression) {
  std::string out;
  switch (expression.kind) {
    case Expression::Kind::kLiteral:
      AddLiteral(out, expression.literal);
      break;
    case Expression::Kind::kIdentifier:
      out = expression.identifier.field->name;
      for (std::size_t i = 0; i < expression.identifier.subscripts.size(); ++i)
        (out += i == 0 ? '(' : ',') += expression.identifier.subscripts[i].text;
      if (!expression.identifier.subscripts.empty()) out += ")";
      if (expression.identifier.reference_modified) out += "(:)";
      break;
    case Expression::Kind::kBinary:
      out += '(';
      out += DumpExpression(*expression.left);
      out += ' ';
      out += OperatorName(expression.op);
      out += ' ';
      out += DumpExpression(*expression.right);
      out += ')';
  }
  return out;
}

}  // namespace tolvane::copybook
