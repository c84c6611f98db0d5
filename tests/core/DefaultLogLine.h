#ifndef LUMO_TESTS_DEFAULTLOGLINE_H
#define LUMO_TESTS_DEFAULTLOGLINE_H

#include <regex>

// The line a decoder failure logs with every switch on.
inline const std::regex& DefaultDecoderFailLine()
{
    static const std::regex line(R"(\[ 5\] \[\d{4}-\d{2}-\d{2} \d{2}:\d{2}:\d{2}\] )"
                                 R"(\[KestLib/Lib/KestAV/KestAVDecoder\(104\)\] \[Init\] )"
                                 "Open Decoder Fail\n");
    return line;
}

#endif
