#include "IqaOptions.h"

#include "IqaText.h"

#include "lumo/YUVReader.h"
#include "lumo/YUVTypeInstance.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>

namespace lumo_iqa {

namespace {

// Whole decimal number in 1..max, nothing else.
bool ParsePositive(const std::string& text, long long max, long long& value)
{
    if (text.empty() || text[0] < '0' || text[0] > '9') {
        return false;
    }
    errno = 0;
    char* end = nullptr;
    const long long v = std::strtoll(text.c_str(), &end, 10);
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
    long long w = 0;
    long long h = 0;
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
    return "usage: lumo-iqa [--size WxH] [--layout ID] [--range video|full] [--frames N]\n"
           "                [--format text|csv|json] [--per-plane-ssim] [--summary-only]\n"
           "                A B\n"
           "Compares two YUV files frame by frame: MSE and PSNR of Y, U, V on the 4:2:0\n"
           "form, and SSIM of luma (of U and V too with --per-plane-ssim).\n"
           "A and B are raw files or YUV4MPEG2 (.y4m) streams, which carry their own\n"
           "size and layout. A raw file takes --size and --layout; what they leave out\n"
           "is read from its name (clip_1920x1080_nv12.yuv; a size alone means I420),\n"
           "else taken from the other input when that is a Y4M stream.\n"
           "Layouts: " +
           KnownLayouts() +
           "\n"
           "--range video clamps luma to 16..235 (chroma 16..240) for SSIM; full\n"
           "(default) uses the codes as they are. --frames N compares at most N frames.\n"
           "--summary-only prints the averages without the per-frame rows.\n"
           "Exit codes: 0 done, 1 output failed, 2 bad arguments, 3 unreadable or bad\n"
           "input, 4 out of memory.\n";
}

bool ParseIqaOptions(const std::vector<std::string>& args, IqaOptions& out, std::string& error)
{
    IqaOptions o;
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
        if (arg == "--per-plane-ssim") {
            o.perPlaneSsim = true;
            continue;
        }
        if (arg == "--summary-only") {
            o.summaryOnly = true;
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
                error = "bad --size " + Quoted(value) + ": expected WxH, each 1.." +
                        std::to_string(lumo::YUVReader::MAX_DIMENSION);
                return false;
            }
        } else if (arg == "--layout") {
            o.layout = lumo::YUVTypeInstance::GetInstance()->FindTypeByIdName(value);
            if (o.layout == lumo::YUVType::YUV_TYPE_UNKNOW) {
                error = "unknown layout " + Quoted(value) + " (known: " + KnownLayouts() + ")";
                return false;
            }
        } else if (arg == "--range") {
            if (value == "video") {
                o.range = lumo::COLOR_SPACE_VIDEO_RANGE;
            } else if (value == "full") {
                o.range = lumo::COLOR_SPACE_FULL_RANGE;
            } else {
                error = "bad --range " + Quoted(value) + ": expected video or full";
                return false;
            }
        } else if (arg == "--frames") {
            long long n = 0;
            if (!ParsePositive(value, INT64_MAX, n)) {
                error = "bad --frames " + Quoted(value) + ": expected a whole number from 1";
                return false;
            }
            o.maxFrames = static_cast<int64_t>(n);
        } else if (arg == "--format") {
            if (value == "text") {
                o.format = OutputFormat::Text;
            } else if (value == "csv") {
                o.format = OutputFormat::Csv;
            } else if (value == "json") {
                o.format = OutputFormat::Json;
            } else {
                error = "bad --format " + Quoted(value) + ": expected text, csv or json";
                return false;
            }
        } else {
            error = "unknown option " + Quoted(arg);
            return false;
        }
    }
    if (files.size() != 2) {
        error = "expected two files, A and B, got " + std::to_string(files.size());
        return false;
    }
    o.pathA = files[0];
    o.pathB = files[1];
    out = o;
    return true;
}

} // namespace lumo_iqa
