// Keyframed properties: linear between keys, held at the first and last key outside them.
#include "host/comp/composition_model.h"

#include <cstddef>

namespace orbhost {
namespace {

double mix(double a, double b, double f) { return a + (b - a) * f; }

Vec3 mix(const Vec3& a, const Vec3& b, double f) {
    return {mix(a.x, b.x, f), mix(a.y, b.y, f), mix(a.z, b.z, f)};
}

std::array<double, 3> mix(const std::array<double, 3>& a, const std::array<double, 3>& b, double f) {
    return {mix(a[0], b[0], f), mix(a[1], b[1], f), mix(a[2], b[2], f)};
}

}  // namespace

template <class T>
T Animated<T>::at(double seconds) const {
    if (keys.empty()) return T{};
    // The first key after the time; the one before it is then at or before the time, so the
    // span is positive even if keys share a time (a jump) or arrive out of order.
    std::size_t next = 0;
    while (next < keys.size() && !(seconds < keys[next].first)) ++next;
    if (next == 0) return keys.front().second;
    if (next == keys.size()) return keys.back().second;
    const auto& [t0, v0] = keys[next - 1];
    const auto& [t1, v1] = keys[next];
    return mix(v0, v1, (seconds - t0) / (t1 - t0));
}

template struct Animated<double>;
template struct Animated<Vec3>;
template struct Animated<std::array<double, 3>>;

}  // namespace orbhost
