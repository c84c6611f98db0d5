#ifndef LUMO_TESTS_DESKTOPENTRYCHECK_H
#define LUMO_TESTS_DESKTOPENTRYCHECK_H

#include <map>
#include <string>
#include <vector>

namespace lumo_test {

// The checks a desktop-entry validator makes of a freedesktop .desktop file
// (version 1.5 of the format), for machines without desktop-file-utils:
// UTF-8 text, group and key syntax, no repeated group or key, the main group
// first, known keys (or X- ones), localised values only where the format
// allows them, the required keys of each type, booleans, lists ending in
// ';', Exec field codes, a plain icon name or an absolute path, and
// Categories with a main category (Audio and Video needing AudioVideo).
class DesktopEntryCheck {
public:
    explicit DesktopEntryCheck(const std::string& text);

    // One line per problem found; empty when the entry is valid.
    const std::vector<std::string>& Problems() const { return problems; }
    // The unlocalised value of a key of the [Desktop Entry] group, or an
    // empty text.
    std::string Value(const std::string& key) const;

private:
    void CheckLine(int number, const std::string& line);
    void CheckMainGroup();
    void Problem(const std::string& text);

    std::vector<std::string> problems;
    std::vector<std::string> groups;
    std::map<std::string, std::map<std::string, std::string>> values;
};

} // namespace lumo_test

#endif
