#include "image_io/pixels/half_rows.h"

#include <half.h>

#if defined(__x86_64__)
#include <cpuid.h>
#include <immintrin.h>
#endif

namespace zv_image_io {

void plain_float_row_to_half(float const* source, std::uint16_t* target, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        target[i] = half(source[i]).bits();
}

#if defined(__x86_64__)

namespace {

/// Converts whole eights and tells how many samples that were.
__attribute__((target("avx,f16c"))) std::size_t convert_eights(float const* source, std::uint16_t* target,
                                                               std::size_t count)
{
    std::size_t i = 0;
    for (; i + 8 <= count; i += 8) {
        __m256 const floats = _mm256_loadu_ps(source + i);
        if (_mm256_movemask_ps(_mm256_cmp_ps(floats, floats, _CMP_UNORD_Q)) != 0) [[unlikely]]
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

bool has_half_instructions()
{
    // That of AVX knows as well whether the system keeps its registers.
    static bool const has = __builtin_cpu_supports("avx") && has_f16c();
    return has;
}

}  // namespace

void float_row_to_half(float const* source, std::uint16_t* target, std::size_t count)
{
    std::size_t const done = has_half_instructions() ? convert_eights(source, target, count) : 0;
    plain_float_row_to_half(source + done, target + done, count - done);
}

#else

void float_row_to_half(float const* source, std::uint16_t* target, std::size_t count)
{
    plain_float_row_to_half(source, target, count);
}

#endif

}  // namespace zv_image_io
