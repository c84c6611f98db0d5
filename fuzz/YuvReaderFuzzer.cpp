// YUVReader and YUVFrameFile on any size, layout, offset and file content,
// at every kernel level. Besides not crashing, the calls must agree: a frame
// that reads as 4:4:4 reads as I420 too, with the bytes the 4:4:4 read gives
// halved, and YUVFrameFile gives the same bytes again.

#include "FuzzCheck.h"
#include "FuzzInput.h"

#include "Kernels.h"
#include "lumo/Threads.h"
#include "lumo/YUVFrameFile.h"
#include "lumo/YUVReader.h"
#include "lumo/YUVTypeInstance.h"

#include <cmath>
#include <cstring>
#include <memory>

namespace {

using lumo_fuzz::Check;

struct Free {
    void operator()(unsigned char* p) const { std::free(p); }
};
using Buffer = std::unique_ptr<unsigned char, Free>;

// Mostly small sizes, now and then any 21-bit number (past the limit too).
int Dimension(lumo_fuzz::FuzzInput& in)
{
    const uint8_t mode = in.Byte();
    if (mode < 240) {
        return 1 + mode % 48;
    }
    return static_cast<int>(in.Bits(3) % (1 << 21)) - (mode == 255 ? 5 : 0);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    lumo::SetMaxThreads(1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static lumo_fuzz::ScratchFile scratch;
    lumo_fuzz::FuzzInput in(data, size);
    lumo::kernels::ForceLevel(static_cast<lumo::kernels::Level>(in.Byte() % 4));
    lumo::YUVTypeInstance* registry = lumo::YUVTypeInstance::GetInstance();
    lumo::YUVType type;
    const int index = in.InRange(-1, registry->GetSize(), 1);
    registry->GetType(type, index);
    const int w = Dimension(in);
    const int h = Dimension(in);
    const uint8_t offsetMode = in.Byte();
    const int64_t pick = static_cast<int64_t>(in.Bits(4)) - (offsetMode & 1 ? 0x10000 : 0);
    const std::string& path = scratch.Write(in.Rest(), in.RestSize());

    const lumo::YUVReader reader(path, w, h, type);
    const int64_t len = reader.GetFrameLen();
    const int count = reader.GetFrameCount();
    Check(len >= 0 && count >= 0);
    Check(len > 0 || count == 0);
    const long offset = static_cast<long>(offsetMode < 200 && len > 0 ? (pick % 4) * len : pick);

    int status444 = 0;
    Buffer full(reader.ReadFrameYUV444(nullptr, &status444, offset));
    int statusRgb = 0;
    Buffer rgb(reader.ReadFrameRGB24(nullptr, &statusRgb, offset));
    int status420 = 0;
    Buffer i420(reader.ReadFrameYUV420(nullptr, &status420, offset));
    Check((full != nullptr) == (status444 == lumo::YUVReader::READ_OK));
    Check(status444 == statusRgb && status444 == status420);
    if (!full) {
        Check(!rgb && !i420 && status444 < 0);
        return 0;
    }
    Check(rgb && i420 && offset >= 0 && offset / len < count);

    const size_t plane = static_cast<size_t>(w) * static_cast<size_t>(h);
    const size_t i420Len = plane + 2 * static_cast<size_t>(w / 2) * static_cast<size_t>(h / 2);
    Buffer halved(reader.Frame444To420(full.get(), nullptr, w, h));
    Check(halved != nullptr);
    Check(std::memcmp(halved.get(), i420.get(), plane * 3 / 2) == 0);

    double psnr[3];
    double mse[3];
    reader.CallPSNR(psnr, halved.get(), i420.get(), w, h, mse);
    for (int p = 0; p < 3; ++p) {
        Check(mse[p] == 0.0 && std::isinf(psnr[p]));
    }
    const double ssim = reader.CallSsimIqa(halved.get(), i420.get(), w, h, lumo::COLOR_SPACE_VIDEO_RANGE);
    Check(ssim == 1.0);
    double planes[3];
    reader.CallSsimPlanes(planes, i420.get(), full.get(), w, h, lumo::COLOR_SPACE_FULL_RANGE);
    Check(!std::isnan(planes[0]));

    lumo::YUVFrameFile file;
    Check(file.OpenRaw(path, w, h, type) == lumo::YUVReader::READ_OK);
    Check(file.FrameCount() == count && file.I420Len() == i420Len);
    const int64_t first = offset / len;
    const int run = static_cast<int>(std::min<int64_t>(count - first, 1 + (pick & 3)));
    const unsigned char* frames[4];
    Check(file.ReadI420(first, run, frames) == lumo::YUVReader::READ_OK);
    Check(std::memcmp(frames[0], i420.get(), i420Len) == 0);
    return 0;
}
