// lumo-iqa's command line on any argument list (arguments are the input's
// NUL-separated pieces), and its text escaping on every argument: a failed
// parse names its reason on one line, JSON strings are valid UTF-8 without
// raw control characters, one-line text holds no line break.

#include "IqaOptions.h"
#include "IqaText.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

void Check(bool ok)
{
    if (!ok) {
        std::abort();
    }
}

// Plain UTF-8 check, independent of the one under test: no overlong forms,
// no surrogates, nothing past U+10FFFF.
bool ValidUtf8(const std::string& s)
{
    for (size_t i = 0; i < s.size();) {
        const auto c = static_cast<uint8_t>(s[i]);
        int n = c < 0x80 ? 1 : (c >> 5) == 6 ? 2 : (c >> 4) == 14 ? 3 : (c >> 3) == 30 ? 4 : 0;
        if (n == 0 || i + static_cast<size_t>(n) > s.size()) {
            return false;
        }
        uint32_t cp = n == 1 ? c : c & (0x7f >> n);
        for (int k = 1; k < n; ++k) {
            const auto t = static_cast<uint8_t>(s[i + static_cast<size_t>(k)]);
            if ((t & 0xc0) != 0x80) {
                return false;
            }
            cp = (cp << 6) | (t & 0x3f);
        }
        const uint32_t least[5] = {0, 0, 0x80, 0x800, 0x10000};
        if (cp < least[n] || cp > 0x10ffff || (cp >= 0xd800 && cp <= 0xdfff)) {
            return false;
        }
        i += static_cast<size_t>(n);
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::vector<std::string> args;
    std::string current;
    for (size_t i = 0; i < size && args.size() < 64; ++i) {
        if (data[i] == 0) {
            args.push_back(current);
            current.clear();
        } else {
            current += static_cast<char>(data[i]);
        }
    }
    args.push_back(current);

    lumo_iqa::IqaOptions options;
    std::string error;
    if (lumo_iqa::ParseIqaOptions(args, options, error)) {
        Check(options.help || (!options.pathA.empty() || !options.pathB.empty() || args.size() >= 2));
        Check(options.width >= 0 && options.height >= 0);
    } else {
        Check(!error.empty() && error.find('\n') == std::string::npos);
    }
    for (const std::string& arg : args) {
        const std::string json = lumo_iqa::JsonString(arg);
        Check(json.size() >= 2 && json.front() == '"' && json.back() == '"');
        Check(ValidUtf8(json));
        for (char c : json) {
            Check(static_cast<uint8_t>(c) >= 0x20);
        }
        const std::string line = lumo_iqa::OneLine(arg);
        Check(line.find('\n') == std::string::npos && line.find('\r') == std::string::npos);
    }
    return 0;
}
