// Decodes a fuzzer's bytes into choices. Every read takes what it needs from the front and an
// exhausted input reads as zeros, so every input, however short, is one valid request and the
// fuzzer's small changes to the bytes stay small changes to the request.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace fuzz {

class FuzzBytes {
public:
    FuzzBytes(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    std::uint8_t byte() { return pos_ < size_ ? data_[pos_++] : 0; }

    std::uint32_t u32()
    {
        std::uint32_t v = 0;
        for (int i = 0; i < 4; ++i)
            v |= std::uint32_t(byte()) << (8 * i);
        return v;
    }

    std::uint64_t u64() { return std::uint64_t(u32()) | (std::uint64_t(u32()) << 32); }

    bool flag() { return (byte() & 1) != 0; }

    // 0 .. n-1.
    int pick(int n) { return n <= 1 ? 0 : int(byte() % unsigned(n)); }

    template <class T, std::size_t N>
    T oneOf(const T (&values)[N])
    {
        return values[pick(int(N))];
    }

    // Any double, NaN and the infinities included, weighted toward the values that break
    // arithmetic rather than spread evenly over the bit patterns.
    double anyNumber()
    {
        constexpr double inf = std::numeric_limits<double>::infinity();
        switch (byte() % 12) {
        case 0: return std::numeric_limits<double>::quiet_NaN();
        case 1: return inf;
        case 2: return -inf;
        case 3: return 0.0;
        case 4: return -0.0;
        case 5: return std::numeric_limits<double>::denorm_min();
        case 6: return std::numeric_limits<double>::max();
        case 7: return -std::numeric_limits<double>::max();
        case 8: return double(std::int32_t(u32()));
        case 9: return double(std::int32_t(u32())) / 65536.0;
        case 10: return double(std::int16_t(u32() & 0xFFFF)) / 16.0;
        default: {
            const std::uint64_t bits = u64();
            double v;
            std::memcpy(&v, &bits, sizeof v);
            return v;
        }
        }
    }

    // A finite double, for the settings a scene file can hold (JSON has no NaN or infinity).
    double finite()
    {
        const double v = anyNumber();
        return std::isfinite(v) ? v : 0.0;
    }

    // A finite double in [lo, hi]: mostly inside, often exactly on either end.
    double within(double lo, double hi)
    {
        switch (byte() % 4) {
        case 0: return lo;
        case 1: return hi;
        default: {
            const double v = lo + (hi - lo) * (double(u32()) / 4294967295.0);
            return std::isfinite(v) ? std::min(std::max(v, lo), hi) : lo;
        }
        }
    }

    // A finite double greater than zero.
    double positive()
    {
        const double v = std::fabs(finite());
        return v > 0 ? v : 1.0;
    }

    std::size_t remaining() const { return size_ - pos_; }

private:
    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t pos_ = 0;
};

}  // namespace fuzz
