// lumo-iqa's command line on any argument list (arguments are the input's
// NUL-separated pieces), and its text escaping on every argument: a failed
// parse names its reason on one line, JSON strings are valid UTF-8 without
// raw control characters, one-line text holds no line break.

#include "FuzzCheck.h"
#include "IqaOptions.h"
#include "IqaText.h"

#include <cstdint>
#include <string>
#include <vector>

using lumo_fuzz::Check;
using lumo_fuzz::ValidUtf8;

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
