// A layer's pixels as the composition holds them: a loaded image, or a solid colour of a size
// whose pixels exist only in the worlds the effect checks out. Solids (and nulls, transparent
// solids) therefore cost nothing until the effect asks for them, and then only at the size
// the render needs. Copies share one source.
#pragma once
#include "host/scene/image.h"

#include <array>
#include <cstddef>
#include <memory>
#include <mutex>

namespace orbhost {

class LayerPixels {
public:
    LayerPixels() = default;
    LayerPixels(std::nullptr_t) {}
    // A layer showing this image (null: no pixels).
    LayerPixels(std::shared_ptr<const Image> image);
    // A width x height layer of one straight colour.
    static LayerPixels solid(int width, int height, const std::array<float, 4>& color);

    explicit operator bool() const { return state_ != nullptr; }
    int width() const;
    int height() const;
    // The colour of a solid; null for image layers.
    const std::array<float, 4>* solidColor() const;
    // The pixels at full size. A solid's are made on the first call and kept; the host itself
    // never needs them (checkouts fill worlds from the colour).
    std::shared_ptr<const Image> image() const;
    // What the host's caches key on: the same for every copy of one source.
    std::shared_ptr<const void> identity() const { return state_; }

private:
    struct State {
        int width = 0, height = 0;
        bool isSolid = false;
        std::array<float, 4> color{};
        mutable std::mutex mutex;
        mutable std::shared_ptr<const Image> image;
    };
    std::shared_ptr<State> state_;
};

} // namespace orbhost
