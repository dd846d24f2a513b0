// A look at the raw text of a source statement that turns away most
// instructions before the statement fields are filled.
#include <cstring>

#include "source/FileParser.h"
#include "source/TextBlocks.h"
#include "source/Tokenizer.h"
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

// Whether text holds, in any case, "##", "al" (allocframe, call), "ju"
// (jump) or "r31" (a return).
bool HoldsPass2Word(std::string_view text) {
#ifdef __SSE2__
  return AnyTextBlock(text, [](const char* p) {
    auto is = [](__m128i v, char x) { return _mm_cmpeq_epi8(v, _mm_set1_epi8(x)); };
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 1));
    const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 2));
    // Letters to lower case; digits and '#' stay as they are.
    const __m128i lower = _mm_set1_epi8(0x20);
    const __m128i la = _mm_or_si128(a, lower), lb = _mm_or_si128(b, lower), ld = _mm_or_si128(d, lower);
    __m128i hit = _mm_and_si128(is(a, '#'), is(b, '#'));
    hit = _mm_or_si128(hit, _mm_and_si128(is(la, 'a'), is(lb, 'l')));
    hit = _mm_or_si128(hit, _mm_and_si128(is(la, 'j'), is(lb, 'u')));
    hit = _mm_or_si128(hit, _mm_and_si128(is(la, 'r'), _mm_and_si128(is(lb, '3'), is(ld, '1'))));
    return _mm_movemask_epi8(hit) != 0;
  });
#else
  if (text.find("##") != std::string_view::npos) return true;
  for (std::string_view word : {"al", "ju", "r31"}) {
    if (ContainsLower(text, word)) return true;
  }
  return false;
#endif
}

}  // namespace

bool FileParser::StatementMayMatterRaw(int pass) {
  // The first token: labels, directives, the marker macros (f..., v...) and
  // jumpr matter to both passes, sp to pass 2; a '.' inside it to pass 1.
  const std::string_view first = StatementToken(0);
  const std::string_view text = statementText_;
  const char c = LowerAscii(first.front());
  if (c == '.' || c == '#' || c == 'f' || c == 'v' || c == 'j' || first.back() == ':') return true;
  if (pass == 1) {
    // And name,@function after a .type-like word.
    return first.find('.') != std::string_view::npos || std::memchr(text.data(), '@', text.size()) != nullptr;
  }
  if (c == 's' || HoldsPass2Word(text)) return true;
  // r29 written, or a '#' in the second token (a constant or an address).
  return c == 'r' && (EqualsLower(first, "r29") || StatementToken(1).find('#') != std::string_view::npos);
}
