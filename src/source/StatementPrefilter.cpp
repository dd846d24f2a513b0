#include "source/StatementPrefilter.h"

#include "source/TextBlocks.h"
#include "source/Tokenizer.h"
#ifdef __SSE2__
#include <emmintrin.h>
#endif

bool StatementMayMatterRaw(std::string_view text, char first, int pass) {
  // The first token's first character: labels aside, pass 1 acts on
  // directives, marker macros (f..., v...) and jumpr; pass 2 also on sp,
  // and on r... with a '#' or as r29.
  const char c = LowerAscii(first);
  if (c == '.' || c == '#' || c == 'f' || c == 'v' || c == 'j') return true;
  if (pass != 1 && c == 's') return true;
  const bool registerFirst = pass != 1 && c == 'r';
#ifdef __SSE2__
  return AnyTextBlock(text, [&](const char* p) {
    auto is = [](__m128i v, char x) { return _mm_cmpeq_epi8(v, _mm_set1_epi8(x)); };
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    if (pass == 1) {
      // A label's ':', a '.' in the first token, a name,@function.
      return _mm_movemask_epi8(_mm_or_si128(_mm_or_si128(is(a, ':'), is(a, '@')), is(a, '.'))) != 0;
    }
    // Pass 2, in any case: a label's ':', "##", "al" (allocframe, call),
    // "ju" (jump) and "r31" (a return); after r..., also '#' and "r29".
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 1));
    const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 2));
    const __m128i lower = _mm_set1_epi8(0x20);
    const __m128i la = _mm_or_si128(a, lower), lb = _mm_or_si128(b, lower), ld = _mm_or_si128(d, lower);
    __m128i hit = _mm_or_si128(is(a, ':'), _mm_and_si128(is(a, '#'), is(b, '#')));
    hit = _mm_or_si128(hit, _mm_and_si128(is(la, 'a'), is(lb, 'l')));
    hit = _mm_or_si128(hit, _mm_and_si128(is(la, 'j'), is(lb, 'u')));
    const __m128i r = is(la, 'r');
    hit = _mm_or_si128(hit, _mm_and_si128(r, _mm_and_si128(is(lb, '3'), is(ld, '1'))));
    if (registerFirst) {
      hit = _mm_or_si128(hit, is(a, '#'));
      hit = _mm_or_si128(hit, _mm_and_si128(r, _mm_and_si128(is(lb, '2'), is(ld, '9'))));
    }
    return _mm_movemask_epi8(hit) != 0;
  });
#else
  if (pass == 1) return text.find_first_of(":@.") != std::string_view::npos;
  if (text.find(':') != std::string_view::npos || text.find("##") != std::string_view::npos) return true;
  for (std::string_view word : {"al", "ju", "r31"}) {
    if (ContainsLower(text, word)) return true;
  }
  return registerFirst && (text.find('#') != std::string_view::npos || ContainsLower(text, "r29"));
#endif
}
