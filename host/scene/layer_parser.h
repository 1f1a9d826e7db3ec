// The scene reader's layer section: one entry of "layers" at a time, then the links between
// them. Every check here runs before any image is read.
#pragma once

#include "host/scene/scene.h"
#include "host/scene/scene_json.h"

#include <nlohmann/json.hpp>

namespace orbhost {

// The layer object at place: its type, names, times, switches, source, transform and camera or
// light settings, with the defaults of its kind filled in. Parents stay unresolved (-1), and an
// image layer's default anchor waits for its pixels (setDefaultAnchor).
Layer parseLayer(const nlohmann::json& value, const JsonPlace& place, const Scene& scene);

// The transform keys of the layer object at place, or their defaults for the layer's kind.
void parseTransform(const nlohmann::json& value, const JsonPlace& place, const Scene& scene, Layer& layer);
// The "camera" and "light" objects (nullptr when absent: all defaults).
void parseCamera(const nlohmann::json* value, const JsonPlace& place, const Scene& scene, CameraSettings& camera);
void parseLight(const nlohmann::json* value, const JsonPlace& place, const Scene& scene, LightSettings& light);

// The centre of a solid's or image's source, the origin of a null, camera or light, unless the
// scene gave an anchor point.
void setDefaultAnchor(Layer& layer);

// Turns each layer's "parent" (a layer's display name) into an index; refuses names of no
// layer and chains of parents that come back to where they started.
void resolveParents(const nlohmann::json& layers, const JsonPlace& place, Scene& scene);

// The default camera's distance from the image plane for this scene, in pixels.
double sceneCameraDistance(const Scene& scene);

}  // namespace orbhost
