// The conversion to point clouds, several pixels at a time; compiled once for each instruction set.
//
// Everything here is a template over a type that is local to the including source, so no function
// of it can end up in the place of one that was compiled for less.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "cloud/PointCloudKernel.h"
#include "cpu/CpuFeatures.h"
#include "image/ColorBoard.h"

namespace nubrix {

template <int N>
struct VectorTypes {
    typedef float Float __attribute__((vector_size(4 * N)));
    typedef int Int __attribute__((vector_size(4 * N)));
    typedef unsigned short Raw __attribute__((vector_size(2 * N)));
};

/// Operations on N pixels in the compiler's own vectors. `Local` is a type of the including source
/// that derives from this and hides the operations that its instruction set does better.
template <class Local, int N>
struct VectorLanes {
    using Float = typename VectorTypes<N>::Float;
    using Int = typename VectorTypes<N>::Int;
    using Raw = typename VectorTypes<N>::Raw;
    using Divisor = Float;

    static constexpr int kCount = N;
    static constexpr bool kStreams = false;  // whether it has stream, streamColour and endStream

    NUBRIX_KERNEL_INLINE Float allOf(float value)
    {
        return value - Float{};  // not plus: that would lose the sign of a zero
    }
    NUBRIX_KERNEL_INLINE Int load(const unsigned short *from)
    {
        Raw raw;
        __builtin_memcpy(&raw, from, sizeof(raw));
        return __builtin_convertvector(raw, Int);
    }
    NUBRIX_KERNEL_INLINE Float toFloat(Int values)
    {
        return __builtin_convertvector(values, Float);
    }
    NUBRIX_KERNEL_INLINE Float subtract(Float a, Float b) { return a - b; }
    NUBRIX_KERNEL_INLINE Float multiply(Float a, Float b) { return a * b; }
    NUBRIX_KERNEL_INLINE Divisor divisor(float value) { return allOf(value); }
    NUBRIX_KERNEL_INLINE Float divide(Float a, const Divisor &by) { return a / by; }
    /// 0 to N - 1.
    NUBRIX_KERNEL_INLINE Int numbers() { return numbers(std::make_integer_sequence<int, N>()); }
    /// Writes N points to 3 * N floats.
    template <bool kStreaming>
    NUBRIX_KERNEL_INLINE void storePoints(float *to, Float x, Float y, Float z)
    {
        constexpr auto kIndices = std::make_integer_sequence<int, N>();
        x = spread<0>(x, kIndices);
        y = spread<1>(y, kIndices);
        z = spread<2>(z, kIndices);
        store<kStreaming>(to, blend<0>(x, y, z, kIndices));
        store<kStreaming>(to + N, blend<1>(x, y, z, kIndices));
        store<kStreaming>(to + N + N, blend<2>(x, y, z, kIndices));
    }

private:
    template <int... kIndices>
    NUBRIX_KERNEL_INLINE Int numbers(std::integer_sequence<int, kIndices...>)
    {
        return Int{kIndices...};
    }

    // N is not a multiple of 3, so the values of one component have different lanes in the three
    // output vectors: one shuffle puts them there, blending does the rest.
    static constexpr int pointIn(int lane, int component)
    {
        int point = 0;
        while ((3 * point + component) % N != lane)
            ++point;
        return point;
    }
    template <int kComponent, int... kIndices>
    NUBRIX_KERNEL_INLINE Float spread(Float values, std::integer_sequence<int, kIndices...>)
    {
        return __builtin_shufflevector(values, values, pointIn(kIndices, kComponent)...);
    }
    template <int kVector, int... kIndices>
    NUBRIX_KERNEL_INLINE Float blend(Float x, Float y, Float z,
                                     std::integer_sequence<int, kIndices...>)
    {
        const Float xy = __builtin_shufflevector(
            x, y, ((kVector * N + kIndices) % 3 == 1 ? N + kIndices : kIndices)...);
        return __builtin_shufflevector(
            xy, z, ((kVector * N + kIndices) % 3 == 2 ? N + kIndices : kIndices)...);
    }
    template <bool kStreaming>
    NUBRIX_KERNEL_INLINE void store(float *to, Float values)
    {
        if constexpr (kStreaming)
            Local::stream(to, values);
        else
            __builtin_memcpy(to, &values, sizeof(values));
    }
};

/// Lanes that divide by fused multiply-adds, for instruction sets that have these (multiplyAdd(sum,
/// a, b) and multiplySubtract(from, a, b), with one rounding) and no vector division or a slow one.
template <class Local, int N>
struct FusedLanes : VectorLanes<Local, N> {
    using Float = typename VectorLanes<Local, N>::Float;

    /// a * (high + low) is so near to a / value that, rounded, it is one of the two floats around
    /// it; and as high is the float nearest to 1 / value, one step with the remainder, which is
    /// exact, leads to the right one (Markstein's theorem). That holds as long as nothing overflows
    /// or comes near the smallest floats (which NEON takes for 0).
    struct Divisor {
        Float value, high, low;
    };
    NUBRIX_KERNEL_INLINE Divisor divisor(float value)
    {
        const float high = 1.0F / value;
        const double missing = 1.0 - static_cast<double>(value) * static_cast<double>(high);
        const auto low = static_cast<float>(missing / static_cast<double>(value));
        return {Local::allOf(value), Local::allOf(high), Local::allOf(low)};
    }
    NUBRIX_KERNEL_INLINE Float divide(Float a, const Divisor &by)
    {
        const Float near = Local::multiplyAdd(Local::multiply(a, by.low), a, by.high);
        const Float remainder = Local::multiplySubtract(a, near, by.value);
        return Local::multiplyAdd(near, remainder, by.high);
    }
};

/// Runs a job with the lanes of one instruction set.
template <class Lanes, bool kColoured>
class CloudConversion {
public:
    static void run(const CloudJob &job)
    {
        const CloudConversion conversion(job);
        if constexpr (Lanes::kStreams) {
            if (job.streaming && conversion.canStream()) {
                for (unsigned int row = job.rowBegin; row < job.rowEnd; ++row)
                    conversion.template convertRow<true>(row);
                Lanes::endStream();
                return;
            }
        }
        for (unsigned int row = job.rowBegin; row < job.rowEnd; ++row)
            conversion.template convertRow<false>(row);
    }

private:
    using Float = typename Lanes::Float;
    using Int = typename Lanes::Int;
    using Divisor = typename Lanes::Divisor;

    explicit CloudConversion(const CloudJob &job)
        : m_job(job),
          m_cx(Lanes::allOf(job.cx)),
          m_s(Lanes::divisor(job.s)),
          m_fx(Lanes::divisor(job.fx)),
          m_fy(Lanes::divisor(job.fy))
    {
    }

    bool canStream() const
    {
        return reinterpret_cast<std::uintptr_t>(m_job.points) % sizeof(float) == 0 &&
               reinterpret_cast<std::uintptr_t>(m_job.colours) % sizeof(typedefNubrixRGBA) == 0;
    }

    /// What the raw values of pixels are.
    struct Depths {
        Int depth, valid;
        Float z;
    };

    // The depths of pixels are computed one step before their points: a processor then has two
    // shorter chains of dependent operations at a time in place of a long one.
    template <bool kStreaming>
    void convertRow(unsigned int row) const
    {
        constexpr unsigned int kCount = Lanes::kCount;
        const std::size_t first = std::size_t{row} * m_job.width;
        const Float rowFactor = Lanes::allOf(static_cast<float>(row + m_job.rowOffset) - m_job.cy);
        // The pixels there are written in the end, some of them for the second time.
        const unsigned int last = m_job.width - kCount;
        unsigned int column = 0;
        if constexpr (kStreaming) {
            // Up to the first address that can be streamed to; the pixels before it are converted
            // apart.
            const auto address = reinterpret_cast<std::uintptr_t>(m_job.points + first);
            while ((address + column * sizeof(typedefNubrixPoint3D)) % sizeof(Float) != 0)
                ++column;
            if (column != 0)
                convert<false>(first, columnsFrom(0), rowFactor, depthsAt(first));
        }
        Int columns = columnsFrom(column);
        Depths next = depthsAt(first + (column < last ? column : last));
        while (column < last) {
            const Depths depths = next;
            const unsigned int after = column + kCount;
            next = depthsAt(first + (after < last ? after : last));
            convert<kStreaming>(first + column, columns, rowFactor, depths);
            columns += Lanes::kCount;
            column = after;
        }
        convert<false>(first + last, columnsFrom(last), rowFactor, next);
    }

    [[gnu::always_inline]] inline Int columnsFrom(unsigned int column) const
    {
        return Lanes::numbers() + static_cast<int>(column + m_job.columnOffset);
    }

    [[gnu::always_inline]] inline Depths depthsAt(std::size_t pixel) const
    {
        const Int raw = Lanes::load(m_job.depth + pixel);
        const Int depth = kColoured ? raw >> m_job.shift : raw;
        return {depth, (depth > 0) & (raw < m_job.rawLimit),
                Lanes::divide(Lanes::toFloat(depth), m_s)};
    }

    template <bool kStreaming>
    [[gnu::always_inline]] inline void convert(std::size_t pixel, Int columns, Float rowFactor,
                                               const Depths &depths) const
    {
        if constexpr (!kStreaming)
            prefetch(pixel);
        const Float columnFactor = Lanes::subtract(Lanes::toFloat(columns), m_cx);
        const Float x = Lanes::divide(Lanes::multiply(depths.z, columnFactor), m_fx);
        const Float y = Lanes::divide(Lanes::multiply(depths.z, rowFactor), m_fy);
        constexpr int kSignOfYZ = kColoured ? static_cast<int>(0x80000000U) : 0;
        Lanes::template storePoints<kStreaming>(&m_job.points[pixel].x, masked(x, depths.valid, 0),
                                                masked(y, depths.valid, kSignOfYZ),
                                                masked(depths.z, depths.valid, kSignOfYZ));
        if constexpr (kColoured)
            storeColours<kStreaming>(m_job.colours + pixel, depths.depth, depths.valid);
    }

    // The frames of a pool are rarely in a cache; where they are, this costs next to nothing.
    [[gnu::always_inline]] inline void prefetch(std::size_t pixel) const
    {
        constexpr int kAhead = 512;  // bytes
        constexpr int kLine = 64;
        constexpr int kWritten = Lanes::kCount * int{sizeof(typedefNubrixPoint3D)};
        __builtin_prefetch(reinterpret_cast<const char *>(m_job.depth + pixel) + kAhead);
        const auto *const points = reinterpret_cast<const char *>(m_job.points + pixel) + kAhead;
        for (int i = 0; i < kWritten; i += kLine)
            __builtin_prefetch(points + i, 1);
    }

    // The values where they are valid, with their signs changed if `sign` is the sign bit, else +0.
    NUBRIX_KERNEL_INLINE Float masked(Float values, Int valid, int sign)
    {
        return __builtin_bit_cast(Float, (__builtin_bit_cast(Int, values) ^ sign) & valid);
    }

    template <bool kStreaming>
    [[gnu::always_inline]] inline void storeColours(typedefNubrixRGBA *to, Int depth,
                                                    Int valid) const
    {
        constexpr int kLast = kColorBoardSize - 2;
        const Int nearOrFar = depth > kLast ? Int{} + static_cast<int>(kColorOfFar) : depth;
        const Int index = valid ? nearOrFar : Int{} + static_cast<int>(kColorOfNone);
        for (int i = 0; i < Lanes::kCount; ++i) {
            const typedefNubrixRGBA *const from = m_job.palette + index[i];
            if constexpr (kStreaming)
                Lanes::streamColour(&to[i].r, &from->r);
            else
                __builtin_memcpy(&to[i], from, sizeof(*from));
        }
    }

    const CloudJob m_job;
    const Float m_cx;
    const Divisor m_s;
    const Divisor m_fx;
    const Divisor m_fy;
};

template <class Lanes>
inline constexpr CloudKernel kCloudKernelOf = {Lanes::kCount, &CloudConversion<Lanes, false>::run,
                                               &CloudConversion<Lanes, true>::run};

}  // namespace nubrix
