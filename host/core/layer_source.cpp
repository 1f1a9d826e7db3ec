#include "host/core/layer_source.h"

namespace orbhost {

LayerPixels::LayerPixels(std::shared_ptr<const Image> image)
{
    if (!image)
        return;
    state_ = std::make_shared<State>();
    state_->width = image->width;
    state_->height = image->height;
    state_->image = std::move(image);
}

LayerPixels LayerPixels::solid(int width, int height, const std::array<float, 4>& color)
{
    LayerPixels pixels;
    pixels.state_ = std::make_shared<State>();
    pixels.state_->width = width;
    pixels.state_->height = height;
    pixels.state_->isSolid = true;
    pixels.state_->color = color;
    return pixels;
}

LayerPixels LayerPixels::file(const std::string& path, int width, int height)
{
    LayerPixels pixels;
    pixels.state_ = std::make_shared<State>();
    pixels.state_->width = width;
    pixels.state_->height = height;
    pixels.state_->file = path;
    return pixels;
}

int LayerPixels::width() const
{
    return state_ ? state_->width : 0;
}

int LayerPixels::height() const
{
    return state_ ? state_->height : 0;
}

const std::array<float, 4>* LayerPixels::solidColor() const
{
    return state_ && state_->isSolid ? &state_->color : nullptr;
}

std::shared_ptr<const Image> LayerPixels::image() const
{
    if (!state_)
        return nullptr;
    if (!state_->file.empty()) {
        auto decoded = std::make_shared<const Image>(readImage(state_->file));
        if (decoded->width != state_->width || decoded->height != state_->height)
            throw ImageError(state_->file, "the image is now " + std::to_string(decoded->width) + "x" +
                                               std::to_string(decoded->height) + ", not the " +
                                               std::to_string(state_->width) + "x" + std::to_string(state_->height) +
                                               " it was when the scene was loaded");
        return decoded;
    }
    std::lock_guard lock(state_->mutex);
    if (!state_->image && state_->isSolid) {
        const auto& c = state_->color;
        state_->image = std::make_shared<const Image>(solidImage(state_->width, state_->height, c[0], c[1], c[2], c[3]));
    }
    return state_->image;
}

} // namespace orbhost
