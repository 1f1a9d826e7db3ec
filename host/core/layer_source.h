// A layer's pixels as the composition holds them: an image in memory, an image file, or a solid
// colour. A file's pixels are decoded, and a solid's made, only when the effect checks the layer
// out, and the host keeps them only as the world of the size the render needs (see
// LayerPixelCache). Layers the effect never uses therefore cost no pixels. Copies share one
// source.
#pragma once
#include "host/scene/image.h"

#include <array>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>

namespace orbhost {

class LayerPixels {
public:
    LayerPixels() = default;
    LayerPixels(std::nullptr_t) {}
    // A layer showing this image (null: no pixels).
    LayerPixels(std::shared_ptr<const Image> image);
    // A width x height layer of one straight colour.
    static LayerPixels solid(int width, int height, const std::array<float, 4>& color);
    // A width x height layer showing the image in this file, whose header has been checked.
    static LayerPixels file(const std::string& path, int width, int height);

    explicit operator bool() const { return state_ != nullptr; }
    int width() const;
    int height() const;
    // The colour of a solid; null for image layers.
    const std::array<float, 4>* solidColor() const;
    // The pixels at full size. A solid's are made on the first call and kept; the host itself
    // never needs them (checkouts fill worlds from the colour). A file's are decoded on every
    // call and not kept. Throws ImageError when the file can no longer be read or has changed
    // size, std::bad_alloc when there is no room.
    std::shared_ptr<const Image> image() const;
    // What the host's caches key on: the same for every copy of one source.
    std::shared_ptr<const void> identity() const { return state_; }

private:
    struct State {
        int width = 0, height = 0;
        bool isSolid = false;
        std::string file;
        std::array<float, 4> color{};
        mutable std::mutex mutex;
        mutable std::shared_ptr<const Image> image;
    };
    std::shared_ptr<State> state_;
};

} // namespace orbhost
