// The light list lives in host handles: records on 16-byte boundaries that can find their
// handle again, an item array that grows one slot at a time, and nothing left behind.
#include "effect/fake_host.h"
#include "scene/light_list.h"
#include "scene/render_context.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

namespace {

// The handle whose locked block contains address p, or null.
PF_Handle handleHolding(const FakeHost& host, const void* p)
{
    for (const auto& [handle, block] : host.handles) {
        const auto* start = static_cast<const char*>(block->data);
        if (p >= start && p < start + block->size) return handle;
    }
    return nullptr;
}

} // namespace

TEST(LightList, TwentyRecordsAreAlignedOwnedAndAllGivenBack)
{
    FakeHost host;
    {
        RenderContext ctx(&host.in);
        for (int i = 0; i < 20; ++i) {
            LightRecord* record = newLightRecord(&host.in);
            ASSERT_NE(record, nullptr);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(record) % 16, 0u) << "record " << i;
            // The whole record sits inside one locked handle, with its block's address in front.
            const PF_Handle handle = handleHolding(host, record);
            ASSERT_NE(handle, nullptr);
            EXPECT_EQ(handleHolding(host, reinterpret_cast<const char*>(record) + sizeof(LightRecord) - 1), handle);
            EXPECT_EQ(host.block(handle)->locks, 1);
            void* blockStart = nullptr;
            std::memcpy(&blockStart, reinterpret_cast<const char*>(record) - sizeof(void*), sizeof blockStart);
            EXPECT_EQ(handleHolding(host, blockStart), handle);
            EXPECT_EQ(record->intensity, 0.0);

            record->intensity = i;
            ASSERT_TRUE(appendLight(ctx.lights, record));
            EXPECT_EQ(ctx.lights.count, i + 1);
            EXPECT_EQ(ctx.lights.capacity, i + 1) << "the array grows by one slot";
            EXPECT_EQ(host.handles.size(), std::size_t(i + 2)) << "the old array is given back";
        }
        for (int i = 0; i < 20; ++i) EXPECT_EQ(ctx.lights.items[i]->intensity, i) << "order kept";
    }
    EXPECT_TRUE(host.handles.empty()) << "destroying the context returns every record and the array";
    EXPECT_EQ(host.suitesHeld(), 0);
}

TEST(LightList, ALightWithoutRoomInTheArrayIsLeftOutAndNothingLeaks)
{
    FakeHost host;
    {
        RenderContext ctx(&host.in);
        LightRecord* first = newLightRecord(&host.in);
        ASSERT_TRUE(appendLight(ctx.lights, first));
        LightRecord* second = newLightRecord(&host.in);
        host.refuseHandles = true;
        EXPECT_FALSE(appendLight(ctx.lights, second));
        EXPECT_EQ(ctx.lights.count, 1);
        EXPECT_EQ(ctx.lights.items[0], first) << "the list is untouched";
        releaseLightRecord(&host.in, second);
        EXPECT_EQ(newLightRecord(&host.in), nullptr);
    }
    EXPECT_TRUE(host.handles.empty());
}

TEST(LightList, AHandleSmallerThanAskedForIsGivenBackAtOnce)
{
    FakeHost host;
    host.handleShortfall = 1;
    EXPECT_EQ(allocateHostBlock(&host.in, 64), nullptr);
    EXPECT_EQ(newLightRecord(&host.in), nullptr);
    EXPECT_TRUE(host.handles.empty());
    EXPECT_EQ(host.disposed, 2);
}
