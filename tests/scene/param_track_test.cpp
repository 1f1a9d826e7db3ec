// Parameter values between, on and outside keyframes.
#include "host/scene/param_track.h"

#include <gtest/gtest.h>

namespace orbhost {
namespace {

using nlohmann::json;

struct TrackCase {
    const char* label;
    const char* keys;       // [[t, v], ...]
    double time;
    const char* expected;   // JSON
};

void PrintTo(const TrackCase& c, std::ostream* os) { *os << c.label; }

ParamTrack makeTrack(const char* keysText)
{
    ParamTrack track{"P", "/effect/params/P", {}};
    for (const json& key : json::parse(keysText)) {
        track.keys.push_back({key[0].get<double>(), key[1]});
    }
    return track;
}

class ValueAt : public ::testing::TestWithParam<TrackCase> {};

// Numbers compare by value, so 50.0 matches 50; every expected value is exact in binary.
TEST_P(ValueAt, InterpolatesOrHolds)
{
    const TrackCase& c = GetParam();
    EXPECT_EQ(valueAt(makeTrack(c.keys), c.time), json::parse(c.expected));
}

const TrackCase kTrackCases[] = {
    {"static value at any time", "[[0, 300]]", 5.0, "300"},
    {"quarter way", "[[0, 0], [2, 100]]", 0.5, "25"},
    {"decreasing", "[[1, 10], [3, -10]]", 2.5, "-5"},
    {"second segment", "[[0, 0], [1, 10], [3, 30]]", 2.0, "20"},
    {"before the first key clamps", "[[1, 5], [2, 7]]", 0.0, "5"},
    {"after the last key clamps", "[[1, 5], [2, 7]]", 9.0, "7"},
    {"on the last key", "[[0, 0], [2, 100]]", 2.0, "100"},
    {"point", "[[0, [0, 10]], [1, [10, 30]]]", 0.25, "[2.5, 15]"},
    {"colour", "[[0, [0, 0, 0, 1]], [4, [1, 0.5, 0, 1]]]", 1.0, "[0.25, 0.125, 0, 1]"},
    {"arrays of different length hold", "[[0, [0, 10]], [1, [10, 30, 5]]]", 0.5, "[0, 10]"},
    {"strings hold", R"([[0, "A"], [1, "B"]])", 0.99, R"("A")"},
    {"strings switch on the key", R"([[0, "A"], [1, "B"]])", 1.0, R"("B")"},
    {"booleans hold", "[[0, false], [1, true]]", 0.5, "false"},
    {"null holds", R"([[0, null], [1, "Layer"]])", 0.5, "null"},
    {"number to string holds", R"([[0, 1], [1, "Smooth"]])", 0.5, "1"},
    {"mixed array holds", R"([[0, [0, "a"]], [1, [1, "b"]]])", 0.5, R"([0, "a"])"},
};

INSTANTIATE_TEST_SUITE_P(Keyframes, ValueAt, ::testing::ValuesIn(kTrackCases));

TEST(ValueAtKeys, KeyValuesComeBackAsWrittenAndAnEmptyTrackGivesNull)
{
    const ParamTrack track = makeTrack("[[0, 1], [1, 3]]");
    EXPECT_TRUE(valueAt(track, 0.0).is_number_integer());
    EXPECT_TRUE(valueAt(track, 1.0).is_number_integer());
    EXPECT_TRUE(valueAt(track, 5.0).is_number_integer());
    EXPECT_TRUE(valueAt(ParamTrack{}, 0.0).is_null());
    EXPECT_TRUE(heldValueAt(ParamTrack{}, 0.0).is_null());
    ParamTrack spare = makeTrack("[[1, 5], [2, 7], [3, 100]]");
    spare.keys.pop_back();   // room past the last key, still holding a key that is gone
    EXPECT_EQ(valueAt(spare, 9.0), 7);
}

TEST(HeldValueAt, NeverInterpolates)
{
    const ParamTrack track = makeTrack("[[0, 1], [1, 3], [2, 2]]");
    EXPECT_EQ(heldValueAt(track, -1.0), 1);
    EXPECT_EQ(heldValueAt(track, 0.999), 1);
    EXPECT_EQ(heldValueAt(track, 1.0), 3);
    EXPECT_EQ(heldValueAt(track, 1.5), 3);
    EXPECT_EQ(heldValueAt(track, 7.0), 2);
}

}  // namespace
}  // namespace orbhost
