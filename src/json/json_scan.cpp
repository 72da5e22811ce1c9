#include "json/json_scan.h"

#include <cstdint>
#include <cstring>

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>
#define KVO_JSON_SSE2 1
#endif

#if defined(KVO_JSON_SSE2) && defined(__x86_64__) && !defined(_WIN32) &&                                     \
    (defined(__GNUC__) || defined(__clang__))
// 256-bit registers only where the ABI keeps the stack 32-byte aligned for
// spills; the Windows toolchain does not, so that build stays with SSE2.
#include <immintrin.h>
#define KVO_JSON_AVX2 1
#endif

// The vector loops read whole aligned blocks (or 16 bytes that do not cross a
// page). A text may end at a NUL before the length it was given, and such a
// load can then take bytes after that NUL: they lie on the same page as the
// NUL, so the load cannot fault, but the address sanitizer would report them.
// Loads never go past the given length.
#if defined(__GNUC__) || defined(__clang__)
#define KVO_NO_ASAN __attribute__((no_sanitize_address))
#else
#define KVO_NO_ASAN
#endif

namespace jsonscan
{
namespace
{
enum : uint8_t
{
    kBlank = 1,     // tab, LF, VT, CR, space
    kDelimiter = 2, // ends a bare token: blank, structural or NUL
};

struct ByteTable
{
    uint8_t flags[256];
    constexpr ByteTable() : flags()
    {
        const char blanks[] = {'\t', '\n', '\v', '\r', ' '};
        const char structural[] = {'{', '}', '[', ']', '=', ',', ':'};
        for (char c : blanks)
            flags[static_cast<uint8_t>(c)] = kBlank | kDelimiter;
        for (char c : structural)
            flags[static_cast<uint8_t>(c)] = kDelimiter;
        flags[0] = kDelimiter;
    }
};
constexpr ByteTable kTable;

inline uint8_t Flags(char c)
{
    return kTable.flags[static_cast<uint8_t>(c)];
}

inline int Ctz(uint32_t v)
{
    return __builtin_ctz(v);
}

inline int Ctz64(uint64_t v)
{
    return __builtin_ctzll(v);
}

inline int Popcount64(uint64_t v)
{
    return __builtin_popcountll(v);
}

// State of a container scan between blocks.
struct ContainerState
{
    int32_t depth;
    bool inString;
    bool escaped; // inside a string, the next byte is escaped
};

constexpr int32_t kMaxDepth = 32;
constexpr int32_t kRunning = -2; // internal: the range ended without a result

// Byte-by-byte container scan of [from, to), resuming from a state. Gives the
// position after the container, -1 for a failure, or kRunning when `to` was
// reached (the caller decides whether that is the end of the text).
int32_t ScanContainerRange(const char* s, int32_t end, int32_t from, int32_t to, char open, char close,
                           ContainerState& st, bool& tooDeep)
{
    for (int32_t k = from; k < to; ++k)
    {
        const char c = s[k];
        if (c == '\0')
            return -1;
        if (st.inString)
        {
            if (st.escaped)
                st.escaped = false;
            else if (c == '\\')
                st.escaped = true;
            else if (c == '"')
                st.inString = false;
            continue;
        }
        if (st.depth > kMaxDepth)
        {
            tooDeep = true;
            return -1;
        }
        if (c == '"')
        {
            st.inString = true;
            st.escaped = false;
        }
        else if (c == open)
        {
            ++st.depth;
        }
        else if (c == close)
        {
            if (st.depth == 1)
                return k + 1;
            --st.depth;
        }
    }
    (void)end;
    return kRunning;
}

inline uint64_t PrefixXor(uint64_t x)
{
    x ^= x << 1;
    x ^= x << 2;
    x ^= x << 4;
    x ^= x << 8;
    x ^= x << 16;
    x ^= x << 32;
    return x;
}

struct BlockMasks
{
    uint64_t quote, backslash, open, close;
    uint64_t nul; // nonzero when the block holds a NUL (positions not kept)
};

#if defined(KVO_JSON_SSE2)
struct Sse2Loader
{
    KVO_NO_ASAN static inline BlockMasks Load(const char* p, char open, char close)
    {
        const __m128i vq = _mm_set1_epi8('"');
        const __m128i vb = _mm_set1_epi8('\\');
        const __m128i vo = _mm_set1_epi8(open);
        const __m128i vc = _mm_set1_epi8(close);
        const __m128i vz = _mm_setzero_si128();
        BlockMasks m = {0, 0, 0, 0, 0};
        __m128i smallest = _mm_set1_epi8(-1);
        for (int part = 0; part < 4; ++part)
        {
            const __m128i v = _mm_load_si128(reinterpret_cast<const __m128i*>(p + 16 * part));
            const int shift = 16 * part;
            m.quote |= uint64_t(uint32_t(_mm_movemask_epi8(_mm_cmpeq_epi8(v, vq)))) << shift;
            m.backslash |= uint64_t(uint32_t(_mm_movemask_epi8(_mm_cmpeq_epi8(v, vb)))) << shift;
            m.open |= uint64_t(uint32_t(_mm_movemask_epi8(_mm_cmpeq_epi8(v, vo)))) << shift;
            m.close |= uint64_t(uint32_t(_mm_movemask_epi8(_mm_cmpeq_epi8(v, vc)))) << shift;
            smallest = _mm_min_epu8(smallest, v);
        }
        m.nul = uint32_t(_mm_movemask_epi8(_mm_cmpeq_epi8(smallest, vz)));
        return m;
    }
    static inline uint64_t InsideQuotes(uint64_t quotes) { return PrefixXor(quotes); }
};
#endif

#if defined(KVO_JSON_AVX2)
struct Avx2Loader
{
    __attribute__((target("avx2,pclmul,popcnt,bmi"), always_inline)) KVO_NO_ASAN static inline BlockMasks
    Load(const char* p, char open, char close)
    {
        const __m256i vq = _mm256_set1_epi8('"');
        const __m256i vb = _mm256_set1_epi8('\\');
        const __m256i vo = _mm256_set1_epi8(open);
        const __m256i vc = _mm256_set1_epi8(close);
        const __m256i vz = _mm256_setzero_si256();
        const __m256i lo = _mm256_load_si256(reinterpret_cast<const __m256i*>(p));
        const __m256i hi = _mm256_load_si256(reinterpret_cast<const __m256i*>(p + 32));
        auto mask = [](__m256i a, __m256i b, __m256i needle)
            __attribute__((target("avx2,pclmul,popcnt,bmi"), always_inline))
        {
            uint64_t l = uint32_t(_mm256_movemask_epi8(_mm256_cmpeq_epi8(a, needle)));
            uint64_t h = uint32_t(_mm256_movemask_epi8(_mm256_cmpeq_epi8(b, needle)));
            return l | (h << 32);
        };
        BlockMasks m;
        m.quote = mask(lo, hi, vq);
        m.backslash = mask(lo, hi, vb);
        m.open = mask(lo, hi, vo);
        m.close = mask(lo, hi, vc);
        // Only whether the block holds a NUL matters: a byte-wise minimum of
        // the two halves is zero exactly where either half has one.
        m.nul = uint32_t(_mm256_movemask_epi8(_mm256_cmpeq_epi8(_mm256_min_epu8(lo, hi), vz)));
        return m;
    }
    // A carry-less multiply by all ones is the prefix XOR in one instruction.
    __attribute__((target("avx2,pclmul,popcnt,bmi"), always_inline)) static inline uint64_t
    InsideQuotes(uint64_t quotes)
    {
        const __m128i product =
            _mm_clmulepi64_si128(_mm_set_epi64x(0, static_cast<int64_t>(quotes)), _mm_set1_epi8(-1), 0);
        return static_cast<uint64_t>(_mm_cvtsi128_si64(product));
    }
};
#endif

#if defined(KVO_JSON_SSE2)
#define KVO_BLOCK_NAME ContainerEndSse2
#define KVO_BLOCK_ATTR KVO_NO_ASAN inline
#define KVO_BLOCK_LOADER Sse2Loader
#include "json/json_scan_blocks.inl"
#undef KVO_BLOCK_NAME
#undef KVO_BLOCK_ATTR
#undef KVO_BLOCK_LOADER
#endif

#if defined(KVO_JSON_AVX2)
#define KVO_BLOCK_NAME ContainerEndAvx2
#define KVO_BLOCK_ATTR KVO_NO_ASAN __attribute__((target("avx2,pclmul,popcnt,bmi")))
#define KVO_BLOCK_LOADER Avx2Loader
#include "json/json_scan_blocks.inl"
#undef KVO_BLOCK_NAME
#undef KVO_BLOCK_ATTR
#undef KVO_BLOCK_LOADER

bool HasAvx2()
{
    static const bool has = []
    {
        __builtin_cpu_init();
        return __builtin_cpu_supports("avx2") && __builtin_cpu_supports("pclmul") &&
               __builtin_cpu_supports("popcnt") && __builtin_cpu_supports("bmi");
    }();
    return has;
}
#endif
} // namespace

int32_t SkipSpaceSlow(const char* s, int32_t end, int32_t i)
{
    if (i < 0 || i >= end)
        return -1;
    while (i < end)
    {
        const char c = s[i];
        if (!(Flags(c) & kBlank))
            return c == '\0' ? -1 : i;
        ++i;
    }
    return -1;
}

int32_t TokenEnd(const char* s, int32_t end, int32_t i)
{
    if (i < 0 || i >= end || s[i] == '\0')
        return -1;
    ++i;
    while (i < end && !(Flags(s[i]) & kDelimiter))
        ++i;
    return i;
}

#if defined(KVO_JSON_SSE2)
namespace
{
inline bool StaysInPage16(const char* p)
{
    return (reinterpret_cast<uintptr_t>(p) & 4095) <= 4096 - 16;
}

// Index of the first double quote, backslash or NUL of the 16 bytes at p;
// 16 when there is none.
KVO_NO_ASAN inline int FirstStringSpecial(const char* p)
{
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i hit = _mm_or_si128(
        _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('"')), _mm_cmpeq_epi8(v, _mm_set1_epi8('\\'))),
        _mm_cmpeq_epi8(v, _mm_setzero_si128()));
    const uint32_t mask = uint32_t(_mm_movemask_epi8(hit));
    return mask ? Ctz(mask) : 16;
}
} // namespace
#endif

int32_t ValueEnd(const char* s, int32_t end, int32_t i)
{
    if (i < 0 || i >= end || s[i] == '\0')
        return -1;
    if (s[i] != '"')
        return TokenEnd(s, end, i);
    int32_t k = i + 1;
    while (k < end)
    {
#if defined(KVO_JSON_SSE2)
        if (end - k >= 16 && StaysInPage16(s + k))
        {
            const int j = FirstStringSpecial(s + k);
            k += j;
            if (j == 16)
                continue;
        }
#endif
        const char c = s[k];
        if (c == '"')
            return k + 1;
        if (c == '\0')
            return -1;
        if (c == '\\')
        {
            // The byte after a backslash is passed over, unless it ends the text.
            if (k + 1 < end && s[k + 1] == '\0')
                return -1;
            k += 2;
        }
        else
            ++k;
    }
    return -1;
}

namespace
{
// The bracket pair of the container opened at s[i]; false when s[i] opens none.
bool ContainerBrackets(const char* s, int32_t end, int32_t i, char& open, char& close)
{
    if (i < 0 || i >= end)
        return false;
    open = s[i];
    if (open != '{' && open != '[')
        return false;
    close = open == '{' ? '}' : ']';
    return true;
}

int32_t ContainerEndByBytes(const char* s, int32_t end, int32_t i, char open, char close, bool& tooDeep)
{
    ContainerState st = {1, false, false};
    const int32_t r = ScanContainerRange(s, end, i + 1, end, open, close, st, tooDeep);
    return r == kRunning ? -1 : r;
}
} // namespace

int32_t ContainerEndBytewise(const char* s, int32_t end, int32_t i, bool& tooDeep)
{
    char open = 0;
    char close = 0;
    if (!ContainerBrackets(s, end, i, open, close))
        return -1;
    return ContainerEndByBytes(s, end, i, open, close, tooDeep);
}

int32_t ContainerEndBaseline(const char* s, int32_t end, int32_t i, bool& tooDeep)
{
    char open = 0;
    char close = 0;
    if (!ContainerBrackets(s, end, i, open, close))
        return -1;
#if defined(KVO_JSON_SSE2)
    return ContainerEndSse2(s, end, i, open, close, tooDeep);
#else
    return ContainerEndByBytes(s, end, i, open, close, tooDeep);
#endif
}

int32_t ContainerEnd(const char* s, int32_t end, int32_t i, bool& tooDeep)
{
    char open = 0;
    char close = 0;
    if (!ContainerBrackets(s, end, i, open, close))
        return -1;
#if defined(KVO_JSON_AVX2)
    if (end - i > 128 && HasAvx2())
        return ContainerEndAvx2(s, end, i, open, close, tooDeep);
#endif
#if defined(KVO_JSON_SSE2)
    return ContainerEndSse2(s, end, i, open, close, tooDeep);
#else
    return ContainerEndByBytes(s, end, i, open, close, tooDeep);
#endif
}
} // namespace jsonscan
