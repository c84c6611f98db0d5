// Y4M stream and frame headers on any bytes, the same bytes as a Y4M file
// read frame by frame, and the same bytes as a file name to guess from.

#include "FuzzCheck.h"
#include "FuzzInput.h"

#include "lumo/RawFormatGuess.h"
#include "lumo/Y4M.h"
#include "lumo/YUVFrameFile.h"
#include "lumo/YUVReader.h"

#include <cstring>
#include <vector>

using lumo_fuzz::Check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static lumo_fuzz::ScratchFile scratch;
    const char* text = reinterpret_cast<const char*>(data);

    lumo::Y4MHeader header;
    std::string why;
    if (lumo::ParseY4MHeader(text, size, header, why) == 0) {
        Check(header.length > 0 && static_cast<size_t>(header.length) <= size);
        Check(header.width >= 1 && header.width <= lumo::YUVReader::MAX_DIMENSION);
        Check(header.height >= 1 && header.height <= lumo::YUVReader::MAX_DIMENSION);
        Check(header.type != lumo::YUVType::YUV_TYPE_UNKNOW);
    } else {
        Check(!why.empty() && why.find('\n') == std::string::npos);
    }
    const int64_t frameLine = lumo::Y4MFrameHeaderLength(text, size);
    Check(frameLine >= 0 && static_cast<size_t>(frameLine) <= size);

    lumo::RawFormatGuess guess;
    const bool guessed = lumo::GuessRawFormat(std::string(text, size), guess);
    Check(guessed == (guess.width > 0 || guess.type != lumo::YUVType::YUV_TYPE_UNKNOW));
    Check(guess.width >= 0 && guess.width <= lumo::YUVReader::MAX_DIMENSION);
    Check((guess.width == 0) == (guess.height == 0));

    const std::string& path = scratch.Write(data, size);
    Check(lumo::YUVFrameFile::IsY4MFile(path) == lumo::IsY4M(text, size));
    lumo::YUVFrameFile file;
    if (file.OpenY4M(path, why) != lumo::YUVReader::READ_OK) {
        return 0;
    }
    const int64_t count = std::min<int64_t>(file.FrameCount(), 8);
    // One run, then frame by frame: the same bytes, or the same failure.
    std::vector<const unsigned char*> run(static_cast<size_t>(count));
    const int status = count > 0 ? file.ReadI420(0, static_cast<int>(count), run.data()) : 0;
    std::vector<std::vector<unsigned char>> frames;
    for (int64_t f = 0; status == lumo::YUVReader::READ_OK && f < count; ++f) {
        frames.emplace_back(run[static_cast<size_t>(f)], run[static_cast<size_t>(f)] + file.I420Len());
    }
    bool allRead = true;
    for (int64_t f = 0; f < count; ++f) {
        const unsigned char* one = nullptr;
        const int got = file.ReadI420(f, 1, &one);
        allRead = allRead && got == lumo::YUVReader::READ_OK;
        if (status == lumo::YUVReader::READ_OK) {
            Check(got == lumo::YUVReader::READ_OK);
            Check(std::memcmp(one, frames[static_cast<size_t>(f)].data(), file.I420Len()) == 0);
        }
    }
    Check(count == 0 || (status == lumo::YUVReader::READ_OK) == allRead);
    return 0;
}
