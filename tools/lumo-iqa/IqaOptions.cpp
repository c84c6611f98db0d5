#include "IqaOptions.h"

#include "lumo/YUVReader.h"
#include "lumo/YUVTypeInstance.h"

#include <cerrno>
#include <climits>
#include <cstdlib>

namespace lumo_iqa {

namespace {

// Whole decimal number in 1..max, nothing else.
bool ParsePositive(const std::string& text, long max, long& value)
{
    if (text.empty() || text[0] < '0' || text[0] > '9') {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    const long v = std::strtol(text.c_str(), &end, 10);
    if (errno != 0 || *end != '\0' || v < 1 || v > max) {
        return false;
    }
    value = v;
    return true;
}

bool ParseSize(const std::string& text, int& width, int& height)
{
    const size_t x = text.find('x');
    if (x == std::string::npos) {
        return false;
    }
    long w = 0;
    long h = 0;
    if (!ParsePositive(text.substr(0, x), lumo::YUVReader::MAX_DIMENSION, w) ||
        !ParsePositive(text.substr(x + 1), lumo::YUVReader::MAX_DIMENSION, h)) {
        return false;
    }
    width = static_cast<int>(w);
    height = static_cast<int>(h);
    return true;
}

std::string KnownLayouts()
{
    lumo::YUVTypeInstance* registry = lumo::YUVTypeInstance::GetInstance();
    std::string names;
    for (int i = 0; i < registry->GetSize(); ++i) {
        lumo::YUVType type;
        if (registry->GetType(type, i) == 0) {
            names += (names.empty() ? "" : " ") + type.idName;
        }
    }
    return names;
}

} // namespace

std::string IqaUsage()
{
    return "usage: lumo-iqa --size WxH --layout ID [--range video|full] [--frames N]\n"
           "                [--format text|csv|json] A.yuv B.yuv\n"
           "Compares two raw YUV files frame by frame (both read with A's size and\n"
           "layout): MSE and PSNR of Y, U, V on the 4:2:0 form, and SSIM of luma.\n"
           "Layouts: " +
           KnownLayouts() +
           "\n"
           "--range video clamps luma to 16..235 for SSIM; full (default) uses the\n"
           "codes as they are. Exit codes: 0 done, 1 output failed, 2 bad arguments,\n"
           "3 unreadable input.\n";
}

bool ParseIqaOptions(const std::vector<std::string>& args, IqaOptions& out, std::string& error)
{
    IqaOptions o;
    bool haveSize = false;
    bool haveLayout = false;
    std::vector<std::string> files;
    for (size_t i = 0; i < args.size(); ++i) {
        std::string arg = args[i];
        if (arg == "-h" || arg == "--help") {
            o.help = true;
            out = o;
            return true;
        }
        if (arg == "--") {
            files.insert(files.end(), args.begin() + static_cast<long>(i) + 1, args.end());
            break;
        }
        if (arg.empty() || arg[0] != '-') {
            files.push_back(arg);
            continue;
        }
        std::string value;
        const size_t eq = arg.find('=');
        if (eq != std::string::npos) {
            value = arg.substr(eq + 1);
            arg = arg.substr(0, eq);
        } else if (arg == "--size" || arg == "--layout" || arg == "--range" || arg == "--frames" ||
                   arg == "--format") {
            if (i + 1 >= args.size()) {
                error = arg + " needs a value";
                return false;
            }
            value = args[++i];
        }
        if (arg == "--size") {
            if (!ParseSize(value, o.width, o.height)) {
                error = "bad --size '" + value + "': expected WxH, each 1.." +
                        std::to_string(lumo::YUVReader::MAX_DIMENSION);
                return false;
            }
            haveSize = true;
        } else if (arg == "--layout") {
            o.layout = lumo::YUVTypeInstance::GetInstance()->FindTypeByIdName(value);
            if (o.layout == lumo::YUVType::YUV_TYPE_UNKNOW) {
                error = "unknown layout '" + value + "' (known: " + KnownLayouts() + ")";
                return false;
            }
            haveLayout = true;
        } else if (arg == "--range") {
            if (value == "video") {
                o.range = lumo::COLOR_SPACE_VIDEO_RANGE;
            } else if (value == "full") {
                o.range = lumo::COLOR_SPACE_FULL_RANGE;
            } else {
                error = "bad --range '" + value + "': expected video or full";
                return false;
            }
        } else if (arg == "--frames") {
            long n = 0;
            if (!ParsePositive(value, INT_MAX, n)) {
                error = "bad --frames '" + value + "': expected a whole number from 1";
                return false;
            }
            o.maxFrames = static_cast<int>(n);
        } else if (arg == "--format") {
            if (value == "text") {
                o.format = OutputFormat::Text;
            } else if (value == "csv") {
                o.format = OutputFormat::Csv;
            } else if (value == "json") {
                o.format = OutputFormat::Json;
            } else {
                error = "bad --format '" + value + "': expected text, csv or json";
                return false;
            }
        } else {
            error = "unknown option '" + arg + "'";
            return false;
        }
    }
    if (!haveSize) {
        error = "--size WxH is required";
        return false;
    }
    if (!haveLayout) {
        error = "--layout ID is required";
        return false;
    }
    if (files.size() != 2) {
        error = "expected two files, A.yuv and B.yuv, got " + std::to_string(files.size());
        return false;
    }
    o.pathA = files[0];
    o.pathB = files[1];
    out = o;
    return true;
}

} // namespace lumo_iqa
