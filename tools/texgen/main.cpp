// texgen: writes one of the example scenes' procedural textures.
//   texgen planet|grid|stars OUT [--width W]
// The image is W × W/2 (lat/long); the format follows OUT's extension (.png, .pam, ...).
#include "tools/texgen/textures.h"

#include <cstdio>
#include <exception>
#include <string>

namespace {

constexpr int kExitUsage = 2, kExitFailure = 1;
constexpr int kWidthStep = 32, kMaxWidth = 16384;   // whole grid cells; 2:1 at any width

struct Kind {
    const char* name;
    orbhost::Image (*make)(int width);
    int defaultWidth;
};

constexpr Kind kKinds[] = {{"planet", texgen::makePlanet, 1024},
                           {"grid", texgen::makeUvGrid, 512},
                           {"stars", texgen::makeStarField, 1024}};

int usage(const std::string& problem)
{
    std::fprintf(stderr, "texgen: %s\nusage: texgen planet|grid|stars OUT [--width W]\n", problem.c_str());
    return kExitUsage;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3 && argc != 5)
        return usage("expected a texture kind and an output file");
    const Kind* kind = nullptr;
    for (const Kind& k : kKinds)
        if (argv[1] == std::string(k.name))
            kind = &k;
    if (!kind)
        return usage(std::string("unknown texture '") + argv[1] + "'");
    int width = kind->defaultWidth;
    if (argc == 5) {
        if (argv[3] != std::string("--width"))
            return usage(std::string("unknown option '") + argv[3] + "'");
        try {
            std::size_t used = 0;
            width = std::stoi(argv[4], &used);
            if (argv[4][used] != '\0')
                throw std::invalid_argument("trailing characters");
        } catch (const std::exception&) {
            return usage(std::string("--width: not a whole number: '") + argv[4] + "'");
        }
        if (width < kWidthStep || width > kMaxWidth || width % kWidthStep != 0)
            return usage("--width: must be a multiple of " + std::to_string(kWidthStep) + " from " +
                         std::to_string(kWidthStep) + " to " + std::to_string(kMaxWidth) + ", got " + argv[4]);
    }
    try {
        orbhost::writeImage(argv[2], kind->make(width), 8);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "texgen: %s\n", e.what());
        return kExitFailure;
    }
    return 0;
}
