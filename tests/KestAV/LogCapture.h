#ifndef LUMO_TESTS_KESTAV_LOGCAPTURE_H
#define LUMO_TESTS_KESTAV_LOGCAPTURE_H

#include "core/KestLog.h"

#include "TempDir.h"

#include <cctype>
#include <string>

namespace kestav_test {

// Sends the process-wide log to a file of its own with only the file, line
// and function pieces switched on, and puts the defaults back afterwards.
class LogCapture {
public:
    LogCapture() : path(dir.File("log.txt"))
    {
        kest_log_path(path.c_str());
        kest_log_param(0, 0, 1, 0, 1);
        kest_log_set_level(5);
    }
    ~LogCapture()
    {
        kest_log_clear();
        kest_log_path("");
        kest_log_param(1, 1, 1, 1, 1);
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    // Everything logged so far, with each source line number shown as "#"
    // so that lines do not depend on where the call sits in its file.
    std::string Text()
    {
        kest_log_clear();
        const std::string raw = lumo_test::ReadWholeFile(path);
        std::string text;
        for (size_t i = 0; i < raw.size(); i++) {
            text += raw[i];
            if (raw[i] == '(' && i + 1 < raw.size() && std::isdigit(static_cast<unsigned char>(raw[i + 1]))) {
                while (i + 1 < raw.size() && std::isdigit(static_cast<unsigned char>(raw[i + 1]))) {
                    i++;
                }
                text += '#';
            }
        }
        return text;
    }

private:
    lumo_test::TempDir dir;
    std::string path;
};

} // namespace kestav_test

#endif
