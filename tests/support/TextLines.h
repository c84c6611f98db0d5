#ifndef LUMO_TESTS_TEXTLINES_H
#define LUMO_TESTS_TEXTLINES_H

#include <sstream>
#include <string>
#include <vector>

namespace lumo_test {

// The lines of a text, without their line ends.
inline std::vector<std::string> SplitLines(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

} // namespace lumo_test

#endif
