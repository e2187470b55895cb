#include "copybook/table_index.h"

#include <algorithm>

namespace tolvane::copybook {
namespace {

constexpr unsigned kAuxBitsPerByte = 8;

}  // namespace

TableIndex::TableIndex(const Field& field) : field_(&field) {
  for (const Field* at = &field; at != nullptr && depth_ < tables_.size(); at = at->parent)
    if (at->occurs.clause) tables_[depth_++] = at;
  std::reverse(tables_.begin(), tables_.begin() + static_cast<std::ptrdiff_t>(depth_));
  subscripts_.fill(1);
  Locate();
}

bool TableIndex::CalcNextIdx() {
  bool more = false;
  for (std::size_t i = depth_; i-- > 0 && !more;) {
    more = subscripts_[i] < tables_[i]->occurs.max;
    subscripts_[i] = more ? subscripts_[i] + 1 : 1;
  }
  Locate();
  return more;
}

bool TableIndex::SetSubscripts(std::span<const std::int64_t> subscripts) {
  if (subscripts.size() != depth_) return false;
  for (std::size_t i = 0; i < depth_; ++i)
    if (subscripts[i] < 1 || subscripts[i] > tables_[i]->occurs.max) return false;
  std::copy(subscripts.begin(), subscripts.end(), subscripts_.begin());
  Locate();
  return true;
}

std::int64_t TableIndex::Count() const {
  std::int64_t count = 1;
  for (std::size_t i = 0; i < depth_; ++i) count *= tables_[i]->occurs.max;
  return count;
}

void TableIndex::Locate() {
  std::int64_t bits = field_->bit, aux_bits = field_->aux_bit;
  source_.byte = field_->offset;
  aux_.byte = field_->aux_offset;
  for (std::size_t i = 0; i < depth_; ++i) {
    const std::int64_t steps = subscripts_[i] - 1;
    source_.byte += steps * tables_[i]->stride;
    aux_.byte += steps * tables_[i]->aux_stride;
    bits += steps * tables_[i]->bit_stride;
    aux_bits += steps * tables_[i]->aux_bit_stride;
  }
  source_.byte += bits / field_->bits_per_byte;
  source_.bit = static_cast<unsigned>(bits % field_->bits_per_byte);
  aux_.byte += aux_bits / kAuxBitsPerByte;
  aux_.bit = static_cast<unsigned>(aux_bits % kAuxBitsPerByte);
}

}  // namespace tolvane::copybook
