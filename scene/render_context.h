// The one record a smart render builds and every per-pixel kernel reads. Scene assembly
// resolves parameters and the composition into plain numbers here, so that no kernel has to
// call back into the host for scene data.
//
// Construction is the initialisation the driver does before anything else; destruction
// returns the light records and the list to the host and releases the suites, whatever
// happened in between.
#pragma once
#include "AEO/host_access.h"
#include "AEO/suite_handler.h"
#include "render/colour_pixel.h"
#include "scene/light_record.h"
#include "scene/silhouette_bounds.h"

struct RenderContext {
    explicit RenderContext(PF_InData* in);
    ~RenderContext();
    RenderContext(const RenderContext&) = delete;
    RenderContext& operator=(const RenderContext&) = delete;

    PF_InData* inData = nullptr;
    AEO::SuiteHandler suites;       // AEGP suites of this render, released last
    AEO::HostAccess hostAccess;     // sampling suites; allocates the light list

    double downsampleX = 1.0;       // numerator ÷ denominator: 0.5 at half resolution
    double downsampleY = 1.0;
    double pixelAspect = 1.0;

    // The ellipsoid: its frame in composition space and its semi-axes after the opening.
    Matrix4 sphereToWorld;
    Matrix4 worldToSphere;
    Vec4 radius;
    Vec4 radiusSq;
    Vec4 invRadius;                 // 0 on an axis whose radius is 0 (before the opening)
    Vec4 invRadiusSq;
    bool openInverted = false;      // "Open Parameter" above 1: the frame is mirrored at the pivot
    double slideTurns = 0.0;        // "Slide Texture" in turns

    PF_EffectWorld textureWorld{};  // all zero when no texture layer is chosen
    double textureWidth = 0.0;      // full-resolution size of the texture
    double textureHeight = 0.0;
    PF_EffectWorld* outputWorld = nullptr;
    PF_PixelFormat pixelFormat = PF_PixelFormat_ARGB32;

    // The camera: image plane centre and distance, and its frame.
    float viewCenterX = 0.0f;
    float viewCenterY = 0.0f;
    float viewPlaneZ = 0.0f;        // −zoom
    Matrix4 cameraToWorld;
    Matrix4 cameraToSphere;

    bool showPivot = false;
    double openScale = 1.0;         // growth of the ellipsoid about the pivot, in [−10000, 10000]
    double fixedPointU = 0.0;       // the pivot's (U, V)
    double fixedPointV = 0.0;

    LightList lights;
    SilhouetteBounds silhouette;    // none: every pixel takes the full path

    // Shading.
    A_u_long falloffMode = 1;       // 1 "None", 2 "Smooth", 3 "Inverse Square Clamped"
    double falloffRadius = 1.0;
    double falloffDistance = 1.0;
    bool selfShadow = false;
    float lightTransmission = 0.0f; // fractions from here on
    float emit = 0.0f;
    float ambient = 0.0f;
    float diffuse = 0.0f;
    float specular = 0.0f;
    float shininess = 0.0f;         // Phong exponent from "Roughness"
    float metal = 0.0f;
    PF_EffectWorld reflectionWorld{};   // all zero when no reflection map is chosen
    float reflectionIntensity = 0.0f;
    float reflectionRolloff = 0.0f;

    // The camera in the sphere's frame: origin and the constant term of every primary ray's
    // intersection equation (negative when the camera is inside the ellipsoid).
    double cameraOrigin[3] = {0.0, 0.0, 0.0};
    double cameraQuadric = 0.0;

    // Rendering.
    A_u_long renderSide = 1;        // 1 "Full", 2 "Inside", 3 "Outside" (exchanged when inverted)
    A_u_long depthOfFieldMode = 1;  // 1 "Off", 2 "Camera Settings", 3 "On"
    bool perspective = true;
    bool depthOfFieldActive = false;
    double focusDistance = 0.0;     // at least 1; set only with the composition camera
    double blurScale = 1.0;
    PF_EffectWorld* passWorlds[4] = {nullptr, nullptr, nullptr, nullptr};
    double sharpnessFactor = 1.0;

    // Depth composite.
    A_u_long depthCompositeMode = 1;    // 1 "Off", 2 "Fog", 3 "Fade Out"
    double depthRange = 1.0;
    double startDepth = 0.0;
    Colour fogColor;
};
