// A summed-area table: entry (x, y) holds the sum of a per-pixel value over the pixels
// [0, x) × [0, y), so the sum over any whole-pixel rectangle is four lookups.
#pragma once
#include "host/sampling/parallel_ranges.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace orbhost {

// Four channel sums: alpha, and alpha times red, green, blue.
template <class T>
struct ChannelSums {
    T a{}, r{}, g{}, b{};

    friend ChannelSums operator+(ChannelSums x, const ChannelSums& y) {
        return {T(x.a + y.a), T(x.r + y.r), T(x.g + y.g), T(x.b + y.b)};
    }
    friend ChannelSums operator-(ChannelSums x, const ChannelSums& y) {
        return {T(x.a - y.a), T(x.r - y.r), T(x.g - y.g), T(x.b - y.b)};
    }
};

template <class Entry>
class SummedAreaTable {
public:
    // `storage`, a block of exactly this table's entry count left by an earlier table, is used
    // instead of a new one: a table rebuilt every frame then touches no fresh pages.
    SummedAreaTable(int width, int height, std::unique_ptr<Entry[]> storage = {})
        : stride_(static_cast<std::size_t>(width) + 1),
          rows_(static_cast<std::size_t>(height) + 1),
          entries_(storage ? std::move(storage) : std::make_unique_for_overwrite<Entry[]>(stride_ * rows_)) {}

    static std::size_t entryCount(int width, int height) {
        return (static_cast<std::size_t>(width) + 1) * (static_cast<std::size_t>(height) + 1);
    }
    std::size_t entryCount() const { return stride_ * rows_; }
    std::unique_ptr<Entry[]> takeStorage() { return std::move(entries_); }

    // Fills the table from value(x, y), the per-pixel quantity. Rows are summed in parallel,
    // then columns; unsigned entries may wrap, which differences undo exactly.
    template <class Value>
    void build(const Value& value) {
        const int width = static_cast<int>(stride_) - 1;
        const int height = static_cast<int>(rows_) - 1;
        for (std::size_t x = 0; x < stride_; ++x) entries_[x] = Entry{};
        parallelRanges(height, 64, [&](int begin, int end) {
            for (int y = begin; y < end; ++y) {
                Entry* row = at(0, y + 1);
                Entry running{};
                row[0] = running;
                for (int x = 0; x < width; ++x) {
                    running = running + value(x, y);
                    row[x + 1] = running;
                }
            }
        });
        parallelRanges(width + 1, 256, [&](int begin, int end) {
            for (int y = 1; y <= height; ++y) {
                const Entry* above = at(0, y - 1);
                Entry* row = at(0, y);
                for (int x = begin; x < end; ++x) row[x] = row[x] + above[x];
            }
        });
    }

    Entry* at(int x, int y) { return &entries_[static_cast<std::size_t>(y) * stride_ + x]; }
    const Entry& operator()(int x, int y) const {
        return entries_[static_cast<std::size_t>(y) * stride_ + x];
    }
    // Sum over pixels [x0, x1) × [y0, y1).
    Entry rect(int x0, int x1, int y0, int y1) const {
        return (*this)(x1, y1) - (*this)(x0, y1) - (*this)(x1, y0) + (*this)(x0, y0);
    }
    std::size_t bytes() const { return stride_ * rows_ * sizeof(Entry); }

private:
    std::size_t stride_;
    std::size_t rows_;
    std::unique_ptr<Entry[]> entries_;
};

// 8 and 16-bit worlds: exact integer sums (a·c ≤ 2^30 per pixel, so 64 bits hold any world).
using IntegerSums = ChannelSums<std::uint64_t>;
// Float worlds: double sums.
using FloatSums = ChannelSums<double>;

} // namespace orbhost
