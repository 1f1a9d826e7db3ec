// Writes Windows-form plug-in property lists for test modules (and broken ones for the
// loader's tests).
#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace probe {

struct PiplWriter {
    std::vector<std::uint8_t> records;
    std::uint32_t count = 0;

    static void put32(std::vector<std::uint8_t>& out, std::uint32_t v)
    {
        for (int i = 0; i < 4; ++i)
            out.push_back(std::uint8_t(v >> (8 * i)));
    }
    static void putCode(std::vector<std::uint8_t>& out, const std::string& code)
    {
        for (int i = 3; i >= 0; --i)
            out.push_back(std::uint8_t(code[std::size_t(i)]));
    }
    void add(const std::string& key, const std::vector<std::uint8_t>& data)
    {
        putCode(records, "8BIM");
        putCode(records, key);
        put32(records, 0);
        put32(records, std::uint32_t(data.size()));
        records.insert(records.end(), data.begin(), data.end());
        ++count;
    }
    void code(const std::string& key, const std::string& value)
    {
        std::vector<std::uint8_t> d;
        putCode(d, value);
        add(key, d);
    }
    void value(const std::string& key, std::uint32_t v)
    {
        std::vector<std::uint8_t> d;
        put32(d, v);
        add(key, d);
    }
    void pascal(const std::string& key, const std::string& text)
    {
        std::vector<std::uint8_t> d{std::uint8_t(text.size())};
        d.insert(d.end(), text.begin(), text.end());
        while (d.size() % 4)
            d.push_back(0);
        add(key, d);
    }
    void cstring(const std::string& key, const std::string& text)
    {
        std::vector<std::uint8_t> d(text.begin(), text.end());
        d.push_back(0);
        while (d.size() % 4)
            d.push_back(0);
        add(key, d);
    }
    std::vector<std::uint8_t> bytes() const
    {
        std::vector<std::uint8_t> out{1, 0};
        put32(out, 0);
        put32(out, count);
        out.insert(out.end(), records.begin(), records.end());
        return out;
    }
};

// The probe module's list: an effect whose entry point is "ProbeMain".
inline std::vector<std::uint8_t> probePipl(const std::string& entryPoint = "ProbeMain", const std::string& kind = "eFKT")
{
    PiplWriter w;
    w.code("kind", kind);
    w.pascal("name", "Probe");
    w.pascal("catg", "Tests");
    w.cstring("8664", entryPoint);
    w.value("ePVR", 2);
    w.value("eSVR", 13 | (27u << 16));
    w.value("eVER", 0x00080000);
    w.value("eINF", 0);
    w.value("eGLO", 0x02000000);      // deep colour aware
    w.value("eGL2", 0x00001400);      // smart render, float colour
    w.pascal("eMNA", "TEST Probe");
    w.value("aeFL", 0);
    return w.bytes();
}

} // namespace probe
