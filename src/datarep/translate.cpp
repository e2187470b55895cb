// Translation through a table of 256 bytes. The scalar loop is the reference; where the processor
// has byte permutes over 64-byte registers (AVX-512 VBMI) or 16-byte lanes (AVX2) a version with
// the same result is chosen once, at start-up.

#include "datarep/charset.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace tolvane {
namespace {

using Translator = void (*)(const ByteTable& table, const Byte* bytes, std::size_t count,
                            Byte* out);

void TranslateScalar(const ByteTable& table, const Byte* bytes, std::size_t count, Byte* out) {
  for (std::size_t i = 0; i < count; ++i) out[i] = table[bytes[i]];
}

#if defined(__x86_64__)

// Two permutes look up all 256 entries, 128 each; the top bit of the code says which counts.
__attribute__((target("avx512f,avx512bw,avx512vbmi"))) void TranslateVbmi(const ByteTable& table,
                                                                          const Byte* bytes,
                                                                          std::size_t count,
                                                                          Byte* out) {
  const __m512i t0 = _mm512_loadu_si512(table.data());
  const __m512i t1 = _mm512_loadu_si512(table.data() + 64);
  const __m512i t2 = _mm512_loadu_si512(table.data() + 128);
  const __m512i t3 = _mm512_loadu_si512(table.data() + 192);
  for (std::size_t i = 0; i < count; i += 64) {
    const std::size_t left = count - i;
    const __mmask64 lanes = left >= 64 ? ~__mmask64{0} : (__mmask64{1} << left) - 1;
    const __m512i codes = _mm512_maskz_loadu_epi8(lanes, bytes + i);
    const __m512i low = _mm512_permutex2var_epi8(t0, codes, t1);
    const __m512i high = _mm512_permutex2var_epi8(t2, codes, t3);
    const __m512i result = _mm512_mask_blend_epi8(_mm512_movepi8_mask(codes), low, high);
    _mm512_mask_storeu_epi8(out + i, lanes, result);
  }
}

// One shuffle for each row of 16 codes; of the codes of other rows it makes zeros.
__attribute__((target("avx2"))) void TranslateAvx2(const ByteTable& table, const Byte* bytes,
                                                   std::size_t count, Byte* out) {
  constexpr std::size_t kStep = 32;
  constexpr std::size_t kRows = 16;
  const __m256i limit = _mm256_set1_epi8(0x70);
  std::size_t i = 0;
  for (; i + kStep <= count; i += kStep) {
    __m256i codes, result = _mm256_setzero_si256();
    __builtin_memcpy(&codes, bytes + i, kStep);
    for (std::size_t row = 0; row < kRows; ++row) {
      __m128i entries;
      __builtin_memcpy(&entries, table.data() + row * kRows, sizeof entries);
      const __m256i in_row = _mm256_xor_si256(codes, _mm256_set1_epi8(static_cast<char>(row << 4)));
      result = _mm256_or_si256(result, _mm256_shuffle_epi8(_mm256_broadcastsi128_si256(entries),
                                                           _mm256_adds_epu8(in_row, limit)));
    }
    __builtin_memcpy(out + i, &result, kStep);
  }
  TranslateScalar(table, bytes + i, count - i, out + i);
}

Translator ChooseTranslator() {
  if (__builtin_cpu_supports("avx512vbmi") != 0 && __builtin_cpu_supports("avx512bw") != 0)
    return TranslateVbmi;
  return __builtin_cpu_supports("avx2") != 0 ? TranslateAvx2 : TranslateScalar;
}

#else

Translator ChooseTranslator() { return TranslateScalar; }

#endif

const Translator translator = ChooseTranslator();

}  // namespace

void Translate(const ByteTable& table, const Byte* bytes, std::size_t count, Byte* out) {
  translator(table, bytes, count, out);
}

}  // namespace tolvane
