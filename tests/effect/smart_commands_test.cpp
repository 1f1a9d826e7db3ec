// Smart pre-render (input checkout, result rectangles) and the smart render driver's host
// calls, through the fake host.
#include "fake_host.h"

#include <gtest/gtest.h>

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
        seenIndex = index;
        seenRequest = *req;
        seenTime = time;
        *out = result;
        return error;
    }
};

PF_LRect rect(A_long l, A_long t, A_long r, A_long b) { return PF_LRect{l, t, r, b}; }

void expectRect(const PF_LRect& a, const PF_LRect& b)
{
    EXPECT_EQ(a.left, b.left);
    EXPECT_EQ(a.top, b.top);
    EXPECT_EQ(a.right, b.right);
    EXPECT_EQ(a.bottom, b.bottom);
}

} // namespace

TEST(SmartPreRender, ChecksOutTheInputAndMergesItsRectangles)
{
    struct Case {
        const char* what;
        PF_LRect before, checkout, after;
        PF_Err error;
    };
    const Case cases[] = {
        {"empty output takes the checkout", rect(0, 0, 0, 0), rect(1, 2, 30, 40), rect(1, 2, 30, 40), 0},
        {"both non-empty: union", rect(10, 10, 20, 20), rect(5, 15, 12, 40), rect(5, 10, 20, 40), 0},
        {"empty checkout changes nothing", rect(10, 10, 20, 20), rect(7, 7, 7, 9), rect(10, 10, 20, 20), 0},
        {"merged even when the checkout fails", rect(0, 0, 0, 0), rect(0, 0, 8, 8), rect(0, 0, 8, 8),
         PF_Err_OUT_OF_MEMORY},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        FakeHost host;
        host.in.current_time = 42;
        PF_PreRenderInput input{};
        input.output_request.rect = rect(0, 0, 64, 48);
        PF_PreRenderOutput output{};
        output.result_rect = c.before;
        output.max_result_rect = c.before;
        PF_PreRenderCallbacks callbacks{};
        callbacks.checkout_layer = &PreRenderHost::checkoutLayer;
        PF_PreRenderExtra extra{&input, &output, &callbacks};
        PreRenderHost::result = PF_CheckoutResult{};
        PreRenderHost::result.result_rect = c.checkout;
        PreRenderHost::result.max_result_rect = c.checkout;
        PreRenderHost::error = c.error;

        EXPECT_EQ(host.run(PF_Cmd_SMART_PRE_RENDER, &extra), c.error);
        expectRect(output.result_rect, c.after);
        expectRect(output.max_result_rect, c.after);
        EXPECT_EQ(PreRenderHost::seenIndex, 0);
        EXPECT_EQ(PreRenderHost::seenTime, 42);
        EXPECT_EQ(PreRenderHost::seenRequest.preserve_rgb_of_zero_alpha, 1);
        expectRect(PreRenderHost::seenRequest.rect, input.output_request.rect);
    }
}

// The two rectangles are merged each from its own: a checkout whose maximum rectangle reaches
// beyond its result grows the output's maximum rectangle, not its result rectangle.
TEST(SmartPreRender, MaximumRectangleGrowsFromTheCheckoutsMaximum)
{
    FakeHost host;
    PF_PreRenderInput input{};
    input.output_request.rect = rect(0, 0, 64, 48);
    PF_PreRenderOutput output{};
    output.result_rect = rect(10, 10, 20, 20);
    output.max_result_rect = rect(8, 8, 30, 30);
    PF_PreRenderCallbacks callbacks{};
    callbacks.checkout_layer = &PreRenderHost::checkoutLayer;
    PF_PreRenderExtra extra{&input, &output, &callbacks};
    PreRenderHost::result = PF_CheckoutResult{};
    PreRenderHost::result.result_rect = rect(12, 5, 18, 25);
    PreRenderHost::result.max_result_rect = rect(-4, 2, 40, 60);
    PreRenderHost::error = PF_Err_NONE;

    EXPECT_EQ(host.run(PF_Cmd_SMART_PRE_RENDER, &extra), PF_Err_NONE);
    expectRect(output.result_rect, rect(10, 5, 20, 25));
    expectRect(output.max_result_rect, rect(-4, 2, 40, 60));
}

namespace {

// The output world: 5 x 3 pixels plus 8 bytes of padding per row, filled with 0xAB.
struct RenderHost {
    static inline std::vector<std::uint8_t> bytes;
    static inline PF_EffectWorld output{};
    static inline PF_Err outputError = PF_Err_NONE;

    static void reset(int bytesPerPixel, PF_Err error)
    {
        output = PF_EffectWorld{};
        output.width = 5;
        output.height = 3;
        output.rowbytes = 5 * bytesPerPixel + 8;
        bytes.assign(static_cast<std::size_t>(output.rowbytes) * 3, 0xAB);
        output.data = reinterpret_cast<PF_PixelPtr>(bytes.data());
        outputError = error;
    }
    // Bytes that must now be zero: `cleared` pixels of each row; the padding stays.
    static bool rowsHold(int clearedBytes)
    {
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            const bool inPixels = static_cast<int>(i % output.rowbytes) < clearedBytes;
            if (bytes[i] != (inPixels ? 0 : 0xAB)) return false;
        }
        return true;
    }
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

// This host serves no composition suites and has no checkout_param. Scene assembly goes on
// without the composition, but the "Texture" checkout, one of the driver's own steps, fails
// with PF_Err_BAD_CALLBACK_PARAM, so a frame never gets as far as the passes; the passes
// themselves are checked through the headless host (tests/assembly).
TEST(SmartRender, ReportsTheFirstFailureAndGivesEverySuiteBack)
{
    struct Case {
        const char* what;
        PF_PixelFormat format;
        int bytesPerPixel;
        const char* missingSuite;
        PF_Err outputError;
        PF_Err expected;
        bool drawn;
    };
    constexpr PF_Err kMissing = FakeHost::kSuiteNotFound;
    const Case cases[] = {
        {"8-bit, no checkout_param", PF_PixelFormat_ARGB32, 4, nullptr, 0, PF_Err_BAD_CALLBACK_PARAM, false},
        {"16-bit, no checkout_param", PF_PixelFormat_ARGB64, 8, nullptr, 0, PF_Err_BAD_CALLBACK_PARAM, false},
        {"float, no checkout_param", PF_PixelFormat_ARGB128, 16, nullptr, 0, PF_Err_BAD_CALLBACK_PARAM, false},
        // Only the float suite's acquisition error is reported.
        {"8-bit sampling suite missing", PF_PixelFormat_ARGB64, 8, "PF Sampling8 Suite", 0, 0, false},
        {"16-bit sampling suite missing", PF_PixelFormat_ARGB64, 8, "PF Sampling16 Suite", 0, 0, false},
        {"float sampling suite missing", PF_PixelFormat_ARGB32, 4, "PF SamplingFloat Suite", 0, kMissing, false},
        // The texture checkout's error is OR-ed into the output's.
        {"output checkout fails", PF_PixelFormat_ARGB32, 4, nullptr, PF_Err_OUT_OF_MEMORY,
         PF_Err_OUT_OF_MEMORY | PF_Err_BAD_CALLBACK_PARAM, false},
        {"world suite missing", PF_PixelFormat_ARGB32, 4, "PF World Suite", 0, kMissing, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        FakeHost host;
        host.worldFormat = c.format;
        if (c.missingSuite) host.missingSuites.insert(c.missingSuite);
        RenderHost::reset(c.bytesPerPixel, c.outputError);
        PF_SmartRenderCallbacks callbacks{&RenderHost::checkoutLayerPixels, nullptr, &RenderHost::checkoutOutput};
        PF_SmartRenderExtra extra{nullptr, &callbacks};

        EXPECT_EQ(host.run(PF_Cmd_SMART_RENDER, &extra), c.expected);
        EXPECT_EQ(host.iterateCalls, c.drawn ? 1 : 0);
        EXPECT_EQ(host.lastIterations, c.drawn ? 3 : -1) << "one iteration per row";
        EXPECT_TRUE(RenderHost::rowsHold(c.drawn ? 5 * c.bytesPerPixel : 0));
        EXPECT_EQ(host.suitesHeld(), 0);
    }
}
