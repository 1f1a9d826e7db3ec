// Parent links between layers: by display name in the file, by index in the model. A chain of
// parents must end, since each layer's placement builds on its parent's.
#include "host/scene/layer_parser.h"

#include <algorithm>
#include <string>
#include <vector>

namespace orbhost {

void resolveParents(const nlohmann::json& layers, const JsonPlace& place, Scene& scene)
{
    const int count = static_cast<int>(scene.layers.size());
    for (int i = 0; i < count; ++i) {
        const nlohmann::json* name = findKey(layers[size_t(i)], "parent");
        if (name == nullptr) {
            continue;
        }
        const JsonPlace parentPlace = child(child(place, size_t(i)), "parent");
        const Layer* parent = findLayer(scene, readNonEmptyString(*name, parentPlace));
        if (parent == nullptr) {
            fail(parentPlace, "no layer is named '" + name->get<std::string>() + "'");
        }
        scene.layers[size_t(i)].parent = static_cast<int>(parent - scene.layers.data());
    }

    // Follow each chain at most count steps; one still going has come round in a circle. The
    // circle is reported from its first layer in file order.
    for (int i = 0; i < count; ++i) {
        std::vector<bool> onChain(size_t(count), false);
        int at = i;
        while (at >= 0 && !onChain[size_t(at)]) {
            onChain[size_t(at)] = true;
            at = scene.layers[size_t(at)].parent;
        }
        if (at < 0) {
            continue;
        }
        int first = at;
        for (int k = scene.layers[size_t(at)].parent; k != at; k = scene.layers[size_t(k)].parent) {
            first = std::min(first, k);
        }
        std::string circle = scene.layers[size_t(first)].displayName();
        int k = first;
        do {
            k = scene.layers[size_t(k)].parent;
            circle += " -> " + scene.layers[size_t(k)].displayName();
        } while (k != first);
        fail(child(child(place, size_t(first)), "parent"), "parent cycle: " + circle);
    }
}

}  // namespace orbhost
