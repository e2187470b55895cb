#include "pipeline/reshape.h"

#include "convert/copybook_source.h"
#include "state/options.h"
#include "state/run.h"

namespace tolvane {

RecordExpander MakeExpander() {
  const bool to_ebcdic = opt.sw_ebcdic != 0;
  if (opt.sw_explode == 0) return {*copybooks.csid, to_ebcdic};
  const auto exploder = std::make_shared<RecordExploder>(mask_list);
  return {*copybooks.csid, to_ebcdic,
          [exploder](std::size_t offset) { return exploder->MapOffset(offset); }};
}

Reshape::Reshape() : size_(static_cast<std::size_t>(std::max(sizes.gblExpRecSize, 0))) {
  if (opt.sw_explode != 0) exploder_.emplace(mask_list);
  if (opt.expandDateFlag != 0) expander_.emplace(MakeExpander());
  if (exploder_ && expander_) exploded_.resize(size_);
}

void Reshape::Run(std::span<const Byte> unconverted, std::span<const Byte> record, Byte* out) {
  if (!exploder_) return expander_->DoGroupExpansion(record, out, size_);
  Byte* const to = expander_ ? exploded_.data() : out;
  exploder_->ExplodeRecord(unconverted, record, to, size_);
  if (expander_) expander_->DoGroupExpansion(exploded_, out, size_);
}

}  // namespace tolvane
