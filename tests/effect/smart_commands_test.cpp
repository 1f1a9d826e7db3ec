// Smart pre-render's rectangles and the smart render driver's host calls, via the fake host.
#include "fake_host.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <vector>

namespace {

struct PreRenderHost {
    static inline PF_CheckoutResult result{};
    static inline PF_Err error = PF_Err_NONE;
    static inline PF_RenderRequest seenRequest{};
    static inline PF_ParamIndex seenIndex = -1;
    static inline A_long seenTime = -1;

    static PF_Err checkoutLayer(PF_ProgPtr, PF_ParamIndex index, A_long, const PF_RenderRequest* req,
                                A_long time, A_long, A_u_long, PF_CheckoutResult* out)
    {
        seenIndex = index, seenRequest = *req, seenTime = time, *out = result;
        return error;
    }
};

using Rect = std::array<A_long, 4>;
Rect of(const PF_LRect& r) { return {r.left, r.top, r.right, r.bottom}; }
PF_LRect rect(const Rect& r) { return PF_LRect{r[0], r[1], r[2], r[3]}; }

// The output world: 5 x 3 pixels of 0xAB bytes.
struct RenderHost {
    static inline std::vector<std::uint8_t> bytes;
    static inline PF_EffectWorld output{};
    static inline PF_Err outputError = PF_Err_NONE;

    static PF_Err checkoutLayerPixels(PF_ProgPtr, A_long id, PF_EffectWorld** pixels)
    {
        *pixels = nullptr;
        return id == 0 ? PF_Err_NONE : PF_Err_INVALID_INDEX;
    }
    static PF_Err checkoutOutput(PF_ProgPtr, PF_EffectWorld** world)
    {
        *world = outputError ? nullptr : &output;
        return outputError;
    }
};

} // namespace

// The result and maximum rectangles are each merged with the checkout's own: an empty one
// takes the checkout's, an empty checkout adds nothing, otherwise the union.
TEST(SmartPreRender, ChecksOutTheInputAndMergesItsRectangles)
{
    struct Case {
        const char* what;
        Rect before, maxBefore, checkout, maxCheckout, after, maxAfter;
        PF_Err error;
    };
    const Rect none{0, 0, 0, 0};
    const Case cases[] = {
        {"empty output takes the checkout", none, none, {1, 2, 30, 40}, {1, 2, 30, 40}, {1, 2, 30, 40},
         {1, 2, 30, 40}, 0},
        {"both non-empty: union", {10, 10, 20, 20}, {10, 10, 20, 20}, {5, 15, 12, 40}, {5, 15, 12, 40},
         {5, 10, 20, 40}, {5, 10, 20, 40}, 0},
        {"empty checkout changes nothing", {10, 10, 20, 20}, {10, 10, 20, 20}, {7, 7, 7, 9}, {7, 7, 7, 9},
         {10, 10, 20, 20}, {10, 10, 20, 20}, 0},
        {"maximum grows from the checkout's maximum", {10, 10, 20, 20}, {8, 8, 30, 30}, {12, 5, 18, 25},
         {-4, 2, 40, 60}, {10, 5, 20, 25}, {-4, 2, 40, 60}, 0},
        {"merged even when the checkout fails", none, none, {0, 0, 8, 8}, {0, 0, 8, 8}, {0, 0, 8, 8}, {0, 0, 8, 8},
         PF_Err_OUT_OF_MEMORY},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        FakeHost host;
        host.in.current_time = 42;
        PF_PreRenderInput input{};
        input.output_request.rect = PF_LRect{0, 0, 64, 48};
        PF_PreRenderOutput output{};
        output.result_rect = rect(c.before);
        output.max_result_rect = rect(c.maxBefore);
        PF_PreRenderCallbacks callbacks{};
        callbacks.checkout_layer = &PreRenderHost::checkoutLayer;
        PF_PreRenderExtra extra{&input, &output, &callbacks};
        PreRenderHost::result = PF_CheckoutResult{};
        PreRenderHost::result.result_rect = rect(c.checkout);
        PreRenderHost::result.max_result_rect = rect(c.maxCheckout);
        PreRenderHost::error = c.error;

        EXPECT_EQ(host.run(PF_Cmd_SMART_PRE_RENDER, &extra), c.error);
        EXPECT_EQ(of(output.result_rect), c.after);
        EXPECT_EQ(of(output.max_result_rect), c.maxAfter);
        EXPECT_EQ(PreRenderHost::seenIndex, 0);
        EXPECT_EQ(PreRenderHost::seenTime, 42);
        EXPECT_EQ(PreRenderHost::seenRequest.preserve_rgb_of_zero_alpha, 1);
        EXPECT_EQ(of(PreRenderHost::seenRequest.rect), of(input.output_request.rect));
    }
}

// Without checkout_param the "Texture" checkout fails with PF_Err_BAD_CALLBACK_PARAM, so no
// frame reaches the passes. Every failure leaves the output untouched and every suite given
// back. (Suites in older versions are checked through the headless host, tests/hostile.)
TEST(SmartRender, ReportsTheFirstFailureAndGivesEverySuiteBack)
{
    struct Case {
        const char* what;
        const char* missingSuite;
        PF_Err outputError;
        PF_Err expected;
    };
    const Case cases[] = {
        {"no checkout_param", nullptr, 0, PF_Err_BAD_CALLBACK_PARAM},
        {"8-bit sampling suite missing: not reported", kPFSampling8Suite, 0, 0},
        // The texture checkout's error is OR-ed into the output's.
        {"output checkout fails", nullptr, PF_Err_OUT_OF_MEMORY, PF_Err_OUT_OF_MEMORY | PF_Err_BAD_CALLBACK_PARAM},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        FakeHost host;
        if (c.missingSuite) host.missing.insert(c.missingSuite);
        RenderHost::bytes.assign(5 * 3 * 4, 0xAB);
        RenderHost::output = PF_EffectWorld{};
        RenderHost::output.width = 5, RenderHost::output.height = 3, RenderHost::output.rowbytes = 20;
        RenderHost::output.data = reinterpret_cast<PF_PixelPtr>(RenderHost::bytes.data());
        RenderHost::outputError = c.outputError;
        PF_SmartRenderCallbacks callbacks{&RenderHost::checkoutLayerPixels, nullptr, &RenderHost::checkoutOutput};
        PF_SmartRenderExtra extra{nullptr, &callbacks};

        EXPECT_EQ(host.run(PF_Cmd_SMART_RENDER, &extra), c.expected);
        EXPECT_EQ(host.iterateCalls, 0);
        EXPECT_EQ(RenderHost::bytes, std::vector<std::uint8_t>(60, 0xAB));
        EXPECT_EQ(host.suitesHeld(), 0);
    }
}
