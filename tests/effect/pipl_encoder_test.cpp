// The property-list encoder against bytes written out by hand, and the list the build ships.
#include "tools/pipl/pipl_encoder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace {

// Bytes as upper-case hex pairs, one space apart, the form the lists below are written in.
std::string hex(const std::vector<std::uint8_t>& bytes)
{
    std::string text;
    char pair[4];
    for (std::uint8_t b : bytes) {
        std::snprintf(pair, sizeof pair, "%02X ", b);
        text += pair;
    }
    return text;
}
std::string tidy(const char* written)
{
    std::istringstream in(written);
    std::string text, token;
    while (in >> token)
        text += token + ' ';
    return text;
}

// Header (version 1, count 1), then a pair record whose 16-bit halves both matter.
const char* const kPairHex = "01 00 00 00 00 00 01 00 00 00 4D 49 42 38 52 56 53 65 00 00 00 00 04 00 00 00 0D 00 1D 00";

// Orbulon: one line per record (vendor, key reversed, id 0, length, data).
const char* const kOrbulonHex = R"(
01 00  00 00 00 00  0C 00 00 00
4D 49 42 38  64 6E 69 6B  00 00 00 00  04 00 00 00  54 4B 46 65
4D 49 42 38  65 6D 61 6E  00 00 00 00  08 00 00 00  07 4F 72 62 75 6C 6F 6E
4D 49 42 38  67 74 61 63  00 00 00 00  0C 00 00 00  0A 51 55 4F 52 56 41 4E 54 49 53 00
4D 49 42 38  34 36 36 38  00 00 00 00  10 00 00 00  45 6E 74 72 79 50 6F 69 6E 74 46 75 6E 63 00 00
4D 49 42 38  52 56 50 65  00 00 00 00  04 00 00 00  02 00 00 00
4D 49 42 38  52 56 53 65  00 00 00 00  04 00 00 00  0D 00 00 00
4D 49 42 38  52 45 56 65  00 00 00 00  04 00 00 00  01 AE 08 00
4D 49 42 38  46 4E 49 65  00 00 00 00  04 00 00 00  00 00 00 00
4D 49 42 38  4F 4C 47 65  00 00 00 00  04 00 00 00  01 00 00 02
4D 49 42 38  32 4C 47 65  00 00 00 00  04 00 00 00  06 14 00 00
4D 49 42 38  41 4E 4D 65  00 00 00 00  14 00 00 00  12 51 55 4F 52 56 41 4E 54 49 53 5F 4F 72 62 75 6C 6F 6E 00
4D 49 42 38  4C 46 65 61  00 00 00 00  04 00 00 00  00 00 00 00
)";

} // namespace

TEST(PiplEncoder, EncodesBothHalvesOfAPair)
{
    const pipl::Property list[] = {pipl::pairProperty("eSVR", 13, 29)};
    EXPECT_EQ(hex(pipl::encode(list)), tidy(kPairHex));
}

// The build writes the list with pipl-encode, which encodes kOrbulonPipl.
TEST(PiplEncoder, BuildWritesOrbulonsListNextToTheModule)
{
    std::ifstream file(ORBULON_BUILD_DIR "/Orbulon.pipl", std::ios::binary);
    ASSERT_TRUE(file) << "missing " ORBULON_BUILD_DIR "/Orbulon.pipl";
    const std::vector<std::uint8_t> written{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(hex(written), tidy(kOrbulonHex));
}
