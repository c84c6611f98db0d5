#ifndef LUMO_TESTS_KESTAV_TESTMEDIA_H
#define LUMO_TESTS_KESTAV_TESTMEDIA_H

#include "ChildProcess.h"
#include "TempDir.h"

#include <chrono>
#include <string>
#include <vector>

namespace kestav_test {

// Small media files made on demand with the ffmpeg command, in a temporary
// folder of their own.
class TestMedia {
public:
    // Runs ffmpeg with args and the output file last; the path, or an empty
    // string when ffmpeg failed.
    std::string Make(const std::string& name, const std::vector<std::string>& args)
    {
        std::vector<std::string> argv = {LUMO_FFMPEG, "-hide_banner", "-loglevel", "error", "-nostdin", "-y"};
        argv.insert(argv.end(), args.begin(), args.end());
        argv.push_back(dir.File(name));
        const lumo_test::ChildResult result = lumo_test::RunChild(argv, std::chrono::seconds(60));
        return !result.timedOut && result.exitCode == 0 ? dir.File(name) : std::string();
    }

    // 10 pictures of 64 x 48 at 25 per second, H.264 without B-frames.
    std::string Video()
    {
        return Make("video.mp4", {"-f", "lavfi", "-i", "testsrc2=s=64x48:r=25", "-frames:v", "10", "-c:v",
                                  "libx264", "-bf", "0", "-pix_fmt", "yuv420p"});
    }

    // 10 lossless pictures of 32 x 32; Matroska leaves the stream duration
    // unknown.
    std::string Ffv1(const std::string& pixelFormat = "yuv420p", const std::string& name = "ffv1.mkv")
    {
        return Make(name, {"-f", "lavfi", "-i", "testsrc2=s=32x32:r=25", "-frames:v", "10", "-c:v", "ffv1",
                           "-pix_fmt", pixelFormat});
    }

    // 0.5 s of 8 kHz sine in AAC, audio only.
    std::string Aac()
    {
        return Make("audio.m4a", {"-f", "lavfi", "-i", "sine=frequency=440:sample_rate=8000", "-t", "0.5",
                                  "-c:a", "aac"});
    }

    std::string File(const std::string& name) const { return dir.File(name); }

private:
    lumo_test::TempDir dir;
};

} // namespace kestav_test

#endif
