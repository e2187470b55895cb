#include "dates/age_record.h"

#include <algorithm>
#include <string>

#include "convert/conditions.h"
#include "copybook/words.h"
#include "datarep/decimal.h"
#include "dates/layout.h"
#include "platform/console.h"

namespace tolvane {

RecordAger::RecordAger(const MaskList& items, const std::vector<AgeEntry>& entries) {
  std::vector<DateAger*> of_entry;
  of_entry.reserve(entries.size());
  for (const AgeEntry& entry : entries) of_entry.push_back(&agers_.emplace_back(entry));
  for (const AgeEntry& entry : entries) {
    const bool is_there = std::any_of(items.begin(), items.end(), [&entry](const MaskItem& item) {
      return !item.is_condition() && copybook::EqualsIgnoreCase(entry.name, item.name);
    });
    if (!is_there)
      PrintWarning("AGE %s: no numeric field has this name; nothing is aged by it.\n",
                   entry.name.c_str());
  }
  for (const MaskItem& item : items) {
    if (item.is_condition()) steps_.push_back({&item, nullptr, 0});
    const auto named = std::find_if(entries.begin(), entries.end(), [&item](const AgeEntry& entry) {
      return copybook::EqualsIgnoreCase(entry.name, item.name);
    });
    if (item.is_condition() || named == entries.end()) continue;
    const DateLayout* const layout = FindLayout(named->format);
    steps_.push_back({&item, of_entry[static_cast<std::size_t>(named - entries.begin())],
                      layout == nullptr ? 0 : layout->length()});
  }
}

int RecordAger::DoDateAgingOper(std::span<const Byte> record, Byte* out) {
  std::copy(record.begin(), record.end(), out);
  bool applies = true;
  int result = 1;
  for (const Step& step : steps_) {
    const MaskItem& item = *step.item;
    if (step.ager == nullptr) {
      applies = EvaluateMatchConditions(record, item);
      if (applies) CopyComparedRange(item, record, out);
      continue;
    }
    if (!applies || static_cast<std::size_t>(item.end()) > record.size()) continue;
    if (item.type == mask_type::kBinary) return result;  // deliberate: the rest is not aged
    const std::span field(out + item.location, static_cast<std::size_t>(item.length));
    const int aged =
        item.type == mask_type::kPacked ? AgePacked(field, step) : step.ager->AgeDate(field);
    if (aged == 0) PrintError("Aging field failed : %s\n", item.name.c_str());
    result = std::min(result, aged);
  }
  return result;
}

// The date is in the last digits; an even number of them has one in front.
int RecordAger::AgePacked(std::span<Byte> field, const Step& step) {
  if (!step.item->has_sign_nibble) return 0;
  if (std::all_of(field.begin(), field.end(), [](Byte byte) { return byte == ' '; })) return 1;
  Unpacked number = LoadPacked(field);
  std::vector<Byte> digits(number.digits.begin(), number.digits.end());
  const std::size_t skipped = digits.size() - std::min(step.length, digits.size());
  if (step.ager->AgeDate(std::span(digits).subspan(skipped)) == 0) return 0;
  number.digits.assign(digits.begin(), digits.end());
  StorePacked(field, number.digits, number.sign_nibble);
  return 1;
}

}  // namespace tolvane
