#include "lumo/RawFormatGuess.h"

#include "lumo/YUVReader.h"
#include "lumo/YUVTypeInstance.h"

#include <cctype>
#include <string>
#include <vector>

namespace lumo {

namespace {

struct Alias {
    const char* word;
    const char* layout;
};

// Names other tools give the registry layouts (the ids themselves count
// too, case ignored).
constexpr Alias kAliases[] = {
    {"yuv420p", "I420"},     {"iyuv", "I420"},          {"yuv422p", "I422"},
    {"yuv444p", "I444"},     {"yuy2", "YUYV"},          {"yuyv422", "YUYV"},
    {"uyvy422", "UYVY"},     {"gray8", "GRAY"},         {"y8", "GRAY"},
    {"y800", "GRAY"},        {"yuv420p10le", "I420P10"}, {"yuv420p10", "I420P10"},
    {"yuv422p10le", "I422P10"}, {"yuv422p10", "I422P10"}, {"yuv444p10le", "I444P10"},
    {"yuv444p10", "I444P10"}, {"p010le", "P010"},
};

struct NamedSize {
    const char* word;
    int width;
    int height;
};

constexpr NamedSize kNamedSizes[] = {
    {"qcif", 176, 144},   {"cif", 352, 288},     {"4cif", 704, 576},    {"480p", 720, 480},
    {"576p", 720, 576},   {"720p", 1280, 720},   {"1080p", 1920, 1080}, {"2160p", 3840, 2160},
    {"4k", 3840, 2160},
};

std::string Lower(std::string s)
{
    for (char& c : s) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return s;
}

bool IsDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool IsWordChar(char c)
{
    return std::isalnum(static_cast<unsigned char>(c)) != 0;
}

// A run of digits as a dimension, 1 .. MAX_DIMENSION.
bool Dimension(const std::string& digits, int& value)
{
    if (digits.empty() || digits.size() > 7) {
        return false;
    }
    const long v = std::stol(digits);
    if (v < 1 || v > YUVReader::MAX_DIMENSION) {
        return false;
    }
    value = static_cast<int>(v);
    return true;
}

bool LastSizeInName(const std::string& name, int& width, int& height)
{
    bool found = false;
    for (size_t i = 0; i < name.size(); ++i) {
        if (name[i] != 'x' && name[i] != 'X') {
            continue;
        }
        size_t begin = i;
        while (begin > 0 && IsDigit(name[begin - 1])) {
            --begin;
        }
        size_t end = i + 1;
        while (end < name.size() && IsDigit(name[end])) {
            ++end;
        }
        int w = 0;
        int h = 0;
        if (Dimension(name.substr(begin, i - begin), w) &&
            Dimension(name.substr(i + 1, end - i - 1), h)) {
            width = w;
            height = h;
            found = true;
        }
    }
    return found;
}

std::vector<std::string> Words(const std::string& name)
{
    std::vector<std::string> words;
    std::string word;
    for (char c : name) {
        if (IsWordChar(c)) {
            word += c;
        } else if (!word.empty()) {
            words.push_back(Lower(word));
            word.clear();
        }
    }
    if (!word.empty()) {
        words.push_back(Lower(word));
    }
    return words;
}

YUVType LayoutOfWord(const std::string& word)
{
    YUVTypeInstance* registry = YUVTypeInstance::GetInstance();
    for (int i = 0; i < registry->GetSize(); ++i) {
        YUVType type;
        if (registry->GetType(type, i) == 0 && Lower(type.idName) == word) {
            return type;
        }
    }
    for (const Alias& alias : kAliases) {
        if (word == alias.word) {
            return registry->FindTypeByIdName(alias.layout);
        }
    }
    return YUVType::YUV_TYPE_UNKNOW;
}

} // namespace

bool GuessRawFormat(const std::string& path, RawFormatGuess& out)
{
    const size_t slash = path.find_last_of('/');
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    RawFormatGuess guess;
    const std::vector<std::string> words = Words(name);
    if (!LastSizeInName(name, guess.width, guess.height)) {
        for (const std::string& word : words) {
            for (const NamedSize& size : kNamedSizes) {
                if (word == size.word) {
                    guess.width = size.width;
                    guess.height = size.height;
                }
            }
        }
    }
    for (const std::string& word : words) {
        const YUVType type = LayoutOfWord(word);
        if (type != YUVType::YUV_TYPE_UNKNOW) {
            guess.type = type;
        }
    }
    out = guess;
    return guess.width > 0 || guess.type != YUVType::YUV_TYPE_UNKNOW;
}

} // namespace lumo
