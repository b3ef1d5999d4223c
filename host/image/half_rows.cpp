#include "host/image/half_rows.h"

#include <bit>

#include <half.h>

#if defined(__x86_64__)
#include <cpuid.h>
#include <immintrin.h>
#endif

namespace zv_host {

void plain_half_row_to_float(std::uint16_t const* source, float* target, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        half sample;
        sample.setBits(source[i]);
        target[i] = static_cast<float>(sample);
    }
}

void plain_float_row_to_half(float const* source, std::uint16_t* target, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        target[i] = half(source[i]).bits();
}

#if defined(__x86_64__)

namespace {

__attribute__((target("avx,f16c"))) bool has_nan(__m128i halves)
{
    __m128i const magnitude = _mm_and_si128(halves, _mm_set1_epi16(0x7fff));
    return _mm_movemask_epi8(_mm_cmpgt_epi16(magnitude, _mm_set1_epi16(0x7c00))) != 0;
}

__attribute__((target("avx,f16c"))) bool has_nan(__m256 floats)
{
    return _mm256_movemask_ps(_mm256_cmp_ps(floats, floats, _CMP_UNORD_Q)) != 0;
}

__attribute__((target("avx,f16c"))) std::size_t fast_half_to_float(std::uint16_t const* source, float* target,
                                                                   std::size_t count)
{
    std::size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        __m128i const halves = _mm_loadu_si128(reinterpret_cast<__m128i const*>(source + i));
        if (has_nan(halves)) [[unlikely]]
            plain_half_row_to_float(source + i, target + i, 8);
        else
            _mm256_storeu_ps(target + i, _mm256_cvtph_ps(halves));
    }
    return i;
}

__attribute__((target("avx,f16c"))) std::size_t fast_float_to_half(float const* source, std::uint16_t* target,
                                                                   std::size_t count)
{
    std::size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        __m256 const floats = _mm256_loadu_ps(source + i);
        if (has_nan(floats)) [[unlikely]]
            plain_float_row_to_half(source + i, target + i, 8);
        else
            _mm_storeu_si128(reinterpret_cast<__m128i*>(target + i),
                             _mm256_cvtps_ph(floats, _MM_FROUND_TO_NEAREST_INT));
    }
    return i;
}

/// Asked of the processor itself: clang 14 has no such name for `__builtin_cpu_supports`.
bool has_f16c()
{
    unsigned a = 0, b = 0, c = 0, d = 0;
    return __get_cpuid(1, &a, &b, &c, &d) && (c & bit_F16C);
}

}  // namespace

bool half_rows_are_fast()
{
    // That of AVX knows as well whether the system keeps its registers.
    static bool const fast = __builtin_cpu_supports("avx") && has_f16c();
    return fast;
}

#else

namespace {

std::size_t fast_half_to_float(std::uint16_t const*, float*, std::size_t)
{
    return 0;
}
std::size_t fast_float_to_half(float const*, std::uint16_t*, std::size_t)
{
    return 0;
}

}  // namespace

bool half_rows_are_fast()
{
    return false;
}

#endif

void half_row_to_float(std::uint16_t const* source, float* target, std::size_t count)
{
    std::size_t const done = half_rows_are_fast() ? fast_half_to_float(source, target, count) : 0;
    plain_half_row_to_float(source + done, target + done, count - done);
}

void float_row_to_half(float const* source, std::uint16_t* target, std::size_t count)
{
    std::size_t const done = half_rows_are_fast() ? fast_float_to_half(source, target, count) : 0;
    plain_float_row_to_half(source + done, target + done, count - done);
}

}  // namespace zv_host
