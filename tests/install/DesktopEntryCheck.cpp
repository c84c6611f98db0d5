#include "DesktopEntryCheck.h"

#include <set>
#include <sstream>

namespace lumo_test {

namespace {

const char* const kMainGroup = "Desktop Entry";

const std::set<std::string> kKnownKeys = {
    "Type", "Version", "Name", "GenericName", "NoDisplay", "Comment", "Icon", "Hidden", "OnlyShowIn", "NotShowIn",
    "DBusActivatable", "TryExec", "Exec", "Path", "Terminal", "Actions", "MimeType", "Categories", "Implements",
    "Keywords", "StartupNotify", "StartupWMClass", "URL", "PrefersNonDefaultGPU", "SingleMainWindow"};
const std::set<std::string> kLocalisable = {"Name", "GenericName", "Comment", "Keywords", "Icon"};
const std::set<std::string> kBooleans = {"NoDisplay", "Hidden", "DBusActivatable", "Terminal", "StartupNotify",
                                         "PrefersNonDefaultGPU", "SingleMainWindow"};
const std::set<std::string> kLists = {"OnlyShowIn", "NotShowIn", "Actions", "MimeType",
                                      "Categories", "Implements", "Keywords"};
const std::set<std::string> kVersions = {"1.0", "1.1", "1.2", "1.3", "1.4", "1.5"};
const std::set<std::string> kMainCategories = {"AudioVideo", "Audio", "Video", "Development", "Education",
                                               "Game", "Graphics", "Network", "Office", "Science",
                                               "Settings", "System", "Utility"};

bool IsUtf8(const std::string& text)
{
    size_t i = 0;
    while (i < text.size()) {
        const auto c = static_cast<unsigned char>(text[i]);
        int more = 0;
        unsigned int code = 0;
        if (c < 0x80) {
            i++;
            continue;
        } else if ((c & 0xe0) == 0xc0) {
            more = 1;
            code = c & 0x1f;
        } else if ((c & 0xf0) == 0xe0) {
            more = 2;
            code = c & 0x0f;
        } else if ((c & 0xf8) == 0xf0) {
            more = 3;
            code = c & 0x07;
        } else {
            return false;
        }
        if (i + more >= text.size()) {
            return false;
        }
        for (int k = 1; k <= more; k++) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xc0) != 0x80) {
                return false;
            }
            code = (code << 6) | (next & 0x3f);
        }
        // Overlong forms, surrogates and values past U+10FFFF.
        static const unsigned int kSmallest[] = {0, 0x80, 0x800, 0x10000};
        if (code < kSmallest[more] || (code >= 0xd800 && code <= 0xdfff) || code > 0x10ffff) {
            return false;
        }
        i += static_cast<size_t>(more) + 1;
    }
    return true;
}

bool IsKeyName(const std::string& name)
{
    if (name.empty()) {
        return false;
    }
    for (char c : name) {
        const bool ok = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-';
        if (!ok) {
            return false;
        }
    }
    return true;
}

// The items of a ';'-separated list (an escaped "\;" stays inside an item).
std::vector<std::string> ListItems(const std::string& value)
{
    std::vector<std::string> items;
    std::string item;
    for (size_t i = 0; i < value.size(); i++) {
        if (value[i] == '\\' && i + 1 < value.size()) {
            item += value[++i];
        } else if (value[i] == ';') {
            items.push_back(item);
            item.clear();
        } else {
            item += value[i];
        }
    }
    if (!item.empty()) {
        items.push_back(item);
    }
    return items;
}

} // namespace

DesktopEntryCheck::DesktopEntryCheck(const std::string& text)
{
    if (!IsUtf8(text)) {
        Problem("the file is not UTF-8");
        return;
    }
    std::istringstream in(text);
    int number = 0;
    for (std::string line; std::getline(in, line);) {
        CheckLine(++number, line);
    }
    if (groups.empty() || groups.front() != kMainGroup) {
        Problem("the first group is not [Desktop Entry]");
        return;
    }
    CheckMainGroup();
}

std::string DesktopEntryCheck::Value(const std::string& key) const
{
    const auto group = values.find(kMainGroup);
    if (group == values.end()) {
        return std::string();
    }
    const auto found = group->second.find(key);
    return found == group->second.end() ? std::string() : found->second;
}

void DesktopEntryCheck::Problem(const std::string& text)
{
    problems.push_back(text);
}

void DesktopEntryCheck::CheckLine(int number, const std::string& line)
{
    const std::string where = "line " + std::to_string(number) + ": ";
    if (line.empty() || line[0] == '#') {
        return;
    }
    if (line[0] == '[') {
        const std::string name = line.back() == ']' ? line.substr(1, line.size() - 2) : std::string();
        if (name.empty() || name.find_first_of("[]") != std::string::npos) {
            Problem(where + "malformed group header");
            return;
        }
        for (const std::string& seen : groups) {
            if (seen == name) {
                Problem(where + "group [" + name + "] appears twice");
            }
        }
        groups.push_back(name);
        values[name];
        return;
    }
    if (groups.empty()) {
        Problem(where + "key before the first group");
        return;
    }
    const size_t equals = line.find('=');
    if (equals == std::string::npos) {
        Problem(where + "neither a comment, a group nor a key");
        return;
    }
    std::string key = line.substr(0, equals);
    std::string value = line.substr(equals + 1);
    while (!key.empty() && key.back() == ' ') {
        key.pop_back();
    }
    while (!value.empty() && value.front() == ' ') {
        value.erase(0, 1);
    }
    std::string base = key;
    const size_t bracket = key.find('[');
    if (bracket != std::string::npos) {
        base = key.substr(0, bracket);
        const std::string locale = key.substr(bracket);
        if (locale.size() < 3 || locale.back() != ']' || locale.find_first_of("[]", 1) != locale.size() - 1) {
            Problem(where + "malformed locale in " + key);
            return;
        }
    }
    if (!IsKeyName(base)) {
        Problem(where + "invalid key name " + key);
        return;
    }
    auto& group = values[groups.back()];
    if (group.count(key) != 0) {
        Problem(where + "key " + key + " appears twice in [" + groups.back() + "]");
        return;
    }
    group[key] = value;
    if (groups.back() != kMainGroup || base.compare(0, 2, "X-") == 0) {
        return;
    }
    if (kKnownKeys.count(base) == 0) {
        Problem(where + "unknown key " + base);
        return;
    }
    if (bracket != std::string::npos && kLocalisable.count(base) == 0) {
        Problem(where + base + " cannot be localised");
    }
    for (size_t i = 0; i < value.size(); i++) {
        if (value[i] == '\\') {
            const char next = i + 1 < value.size() ? value[i + 1] : '\0';
            const bool ok = next == 's' || next == 'n' || next == 't' || next == 'r' || next == '\\'
                || (next == ';' && kLists.count(base) != 0);
            if (!ok) {
                Problem(where + "invalid escape in " + key);
            }
            i++;
        }
    }
    if (kBooleans.count(base) != 0 && value != "true" && value != "false") {
        Problem(where + base + " is neither true nor false");
    }
    if (kLists.count(base) != 0 && (value.empty() || value.back() != ';')) {
        Problem(where + "the list " + key + " does not end with ';'");
    }
}

void DesktopEntryCheck::CheckMainGroup()
{
    const std::string type = Value("Type");
    if (type.empty()) {
        Problem("Type is missing");
    } else if (type != "Application" && type != "Link" && type != "Directory") {
        Problem("unknown Type " + type);
    }
    if (Value("Name").empty()) {
        Problem("Name is missing");
    }
    const std::string version = Value("Version");
    if (!version.empty() && kVersions.count(version) == 0) {
        Problem("unknown Version " + version);
    }
    if (!Value("Comment").empty() && Value("Comment") == Value("Name")) {
        Problem("Comment repeats Name");
    }
    if (!Value("GenericName").empty() && Value("GenericName") == Value("Name")) {
        Problem("GenericName repeats Name");
    }
    if (type == "Link" && Value("URL").empty()) {
        Problem("a Link needs URL");
    }
    if (type != "Application") {
        return;
    }
    const std::string exec = Value("Exec");
    if (exec.empty() && Value("DBusActivatable") != "true") {
        Problem("an Application needs Exec");
    }
    for (size_t i = 0; i < exec.size(); i++) {
        if (exec[i] == '%') {
            const char code = i + 1 < exec.size() ? exec[i + 1] : '\0';
            if (std::string("fFuUick%").find(code) == std::string::npos || code == '\0') {
                Problem(std::string("invalid field code %") + code + " in Exec");
            }
            i++;
        }
    }
    const std::string icon = Value("Icon");
    if (!icon.empty() && icon[0] != '/') {
        const size_t dot = icon.rfind('.');
        const std::string extension = dot == std::string::npos ? std::string() : icon.substr(dot);
        if (extension == ".png" || extension == ".svg" || extension == ".xpm" || icon.find('/') != std::string::npos) {
            Problem("Icon " + icon + " is neither an absolute path nor an icon name without extension");
        }
    }
    const std::vector<std::string> categories = ListItems(Value("Categories"));
    bool main = false;
    bool audioVideo = false;
    for (const std::string& category : categories) {
        main = main || kMainCategories.count(category) != 0;
        audioVideo = audioVideo || category == "AudioVideo";
    }
    if (!categories.empty() && !main) {
        Problem("Categories holds no main category");
    }
    for (const std::string& category : categories) {
        if ((category == "Audio" || category == "Video") && !audioVideo) {
            Problem("Categories holds " + category + " without AudioVideo");
        }
    }
}

} // namespace lumo_test
