#ifndef LUMO_YUVTYPEINSTANCE_H
#define LUMO_YUVTYPEINSTANCE_H

#include "lumo/YUVType.h"

#include <string>
#include <vector>

namespace lumo {

// The process-wide registry of known layouts, in a fixed order:
//   0 I420     1 YV12     2 NV12     3 NV21     4 I422     5 YV16
//   6 NV16     7 NV61     8 YUYV     9 UYVY    10 YVYU    11 I444
//  12 YV24    13 NV24    14 NV42    15 GRAY    16 I420P10 17 I422P10
//  18 I444P10 19 P010
// The order is persisted (legacy numbers) and shown in the open-file dialog,
// so new layouts are only ever appended. Immutable once built.
class YUVTypeInstance {
public:
    // The same object for the whole process; safe to call from any thread.
    static YUVTypeInstance* GetInstance();

    YUVTypeInstance(const YUVTypeInstance&) = delete;
    YUVTypeInstance& operator=(const YUVTypeInstance&) = delete;

    int GetSize() const;

    // 0 and the layout in out, or -1 for an index outside 0 .. GetSize()-1
    // (out is then left as it was).
    int GetType(YUVType& out, int index) const;

    // Exact, case-sensitive match on the id name; anything else, the empty
    // name included, gives YUVType::YUV_TYPE_UNKNOW.
    YUVType FindTypeByIdName(std::string name) const;

    // Settings written before id names existed stored numbers 0..6, meaning
    // the first seven layouts above. Any other number gives "".
    std::string GetTypeNameByOldIndex(int index) const;

private:
    YUVTypeInstance();

    std::vector<YUVType> types;
};

} // namespace lumo

#endif
