// Writes the probe module's sidecar property list: make_probe_pipl OUTPUT.
#include "pipl_writer.h"

#include <fstream>

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    const auto bytes = probe::probePipl();
    std::ofstream out(argv[1], std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
    return out ? 0 : 1;
}
