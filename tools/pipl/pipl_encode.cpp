// pipl-encode OUTPUT: writes Orbulon's encoded property list to OUTPUT.
#include "resources/orbulon_pipl.h"
#include "tools/pipl/pipl_encoder.h"

#include <cstdio>
#include <exception>
#include <fstream>

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUTPUT\n", argv[0]);
        return 2;
    }
    try {
        const auto bytes = pipl::encode(kOrbulonPipl);
        std::ofstream file(argv[1], std::ios::binary | std::ios::trunc);
        file.write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
        file.close();
        if (!file) {
            std::fprintf(stderr, "%s: cannot write %s\n", argv[0], argv[1]);
            return 1;
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
        return 1;
    }
    return 0;
}
