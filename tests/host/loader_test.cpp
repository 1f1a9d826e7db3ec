// Modules that cannot be used are refused with a message naming the file, never a crash.
#include "host/core/effect_module.h"
#include "host/core/host_errors.h"
#include "pipl_writer.h"
#include "probe_support.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <unistd.h>

using namespace orbhost;

namespace {

namespace fs = std::filesystem;

fs::path scratch()
{
    const fs::path dir = fs::temp_directory_path() / ("orbhost_loader_" + std::to_string(::getpid()));
    fs::create_directories(dir);
    return dir;
}

// A copy of the probe module with the given sidecar bytes (none when empty).
std::string probeCopy(const std::string& name, const std::vector<std::uint8_t>& pipl)
{
    const fs::path module = scratch() / (name + ".so");
    fs::copy_file(probetest::probePath(), module, fs::copy_options::overwrite_existing);
    if (!pipl.empty()) {
        std::ofstream out(fs::path(module).replace_extension(".pipl"), std::ios::binary);
        out.write(reinterpret_cast<const char*>(pipl.data()), std::streamsize(pipl.size()));
    }
    return module.string();
}

std::string loadError(const std::string& path)
{
    try {
        EffectModule module(path);
    } catch (const LoadError& e) {
        return e.what();
    }
    return "";
}

} // namespace

TEST(Loader, RefusesUnusableModulesNamingTheFile)
{
    auto truncated = probe::probePipl();
    truncated.resize(truncated.size() - 5);
    struct Case {
        std::string name, path, expected;
    };
    const std::vector<Case> cases = {
        {"missing file", (scratch() / "absent.so").string(), "absent.so: no such file"},
        {"missing pipl", probeCopy("nopipl", {}), "no plug-in property list (expected"},
        {"truncated pipl", probeCopy("truncated", truncated), ""},
        {"wrong kind", probeCopy("kind", probe::probePipl("ProbeMain", "AEGP")), "not an effect"},
        {"no entry point", probeCopy("noentry", probe::piplWithoutEntryPoint()), "no x64 entry point"},
        {"entry point not exported", probeCopy("badentry", probe::probePipl("NotThere")),
         "entry point \"NotThere\" named by the property list is not exported"},
    };
    for (const Case& c : cases) {
        const std::string message = loadError(c.path);
        ASSERT_FALSE(message.empty()) << c.name << " was accepted";
        if (c.name != "truncated pipl")
            EXPECT_NE(message.find(c.expected), std::string::npos) << c.name << ": " << message;
        else
            EXPECT_NE(message.find("truncated.pipl: plug-in property list:"), std::string::npos) << message;
        EXPECT_NE(message.find(fs::path(c.path).stem().string()), std::string::npos) << c.name << ": " << message;
    }
}

TEST(Loader, DecodesEveryPropertyOfTheProbe)
{
    EffectModule module(probetest::probePath());
    const PropertyList& p = module.properties();
    EXPECT_EQ(p.properties.size(), 12u);
    EXPECT_EQ(p.kind, "eFKT");
    EXPECT_EQ(p.name, "Probe");
    EXPECT_EQ(p.matchName, "TEST Probe");
    EXPECT_EQ(p.entryPoint, "ProbeMain");
    EXPECT_EQ(p.apiVersion, std::make_pair(13, 27));
    EXPECT_EQ(p.globalFlags2, 0x1400u);
}
