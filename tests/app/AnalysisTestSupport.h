#ifndef LUMO_TESTS_ANALYSISTESTSUPPORT_H
#define LUMO_TESTS_ANALYSISTESTSUPPORT_H

// Helpers of the analysis window tests: raw I420 files made of frames of a
// known luma, reading frames back, and debug-line capture.

#include "ViewTestSupport.h"

#include "lumo/YUVReader.h"

#include <QMessageLogContext>
#include <QStringList>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace analysis_test {

// Writes frames I420 frames of w x h to path (replacing it): frame f has
// luma luma(f, x, y) and chroma 128.
inline lumo::YUVReader WriteI420(const std::string& path, int w, int h, int frames,
                                 const std::function<int(int, int, int)>& luma)
{
    std::remove(path.c_str());
    for (int f = 0; f < frames; f++) {
        view_test::WriteFile(path, view_test::Frame420(w, h, [&](int x, int y) { return luma(f, x, y); }, 128, 128));
    }
    return lumo::YUVReader(path, w, h, view_test::Layout("I420"));
}

// Frames of one flat luma each: 10, 20, 30, ...
inline lumo::YUVReader WriteFlat(const std::string& path, int w, int h, int frames)
{
    return WriteI420(path, w, h, frames, [](int f, int, int) { return 10 * (f + 1); });
}

struct FreeDeleter {
    void operator()(unsigned char* p) const { free(p); }
};
using LibBuffer = std::unique_ptr<unsigned char, FreeDeleter>;

inline LibBuffer Read444(const lumo::YUVReader& reader, int frame)
{
    int status = 0;
    return LibBuffer(reader.ReadFrameYUV444(nullptr, &status, static_cast<long>(frame * reader.GetFrameLen())));
}

inline LibBuffer Read420(const lumo::YUVReader& reader, int frame)
{
    LibBuffer full = Read444(reader, frame);
    return LibBuffer(reader.Frame444To420(full.get(), nullptr, reader.width, reader.height));
}

// Collects the application's debug lines, from any thread, while it lives.
class DebugCapture {
public:
    DebugCapture()
    {
        std::lock_guard<std::mutex> lock(Mutex());
        Store().clear();
        previous = qInstallMessageHandler(Capture);
    }
    ~DebugCapture() { qInstallMessageHandler(previous); }
    DebugCapture(const DebugCapture&) = delete;
    DebugCapture& operator=(const DebugCapture&) = delete;

    QStringList Lines() const
    {
        std::lock_guard<std::mutex> lock(Mutex());
        return Store();
    }
    int Count(const QString& text) const
    {
        int count = 0;
        for (const QString& line : Lines()) {
            count += line == text ? 1 : 0;
        }
        return count;
    }
    bool Contains(const QString& text) const
    {
        for (const QString& line : Lines()) {
            if (line.contains(text)) {
                return true;
            }
        }
        return false;
    }

private:
    static std::mutex& Mutex()
    {
        static std::mutex mutex;
        return mutex;
    }
    static QStringList& Store()
    {
        static QStringList lines;
        return lines;
    }
    static void Capture(QtMsgType type, const QMessageLogContext&, const QString& message)
    {
        if (type == QtDebugMsg) {
            std::lock_guard<std::mutex> lock(Mutex());
            Store().append(message);
        }
    }

    QtMessageHandler previous = nullptr;
};

} // namespace analysis_test

#endif
