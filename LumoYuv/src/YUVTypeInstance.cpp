#include "lumo/YUVTypeInstance.h"

#include "Layout.h"

namespace lumo {

namespace {

// Legacy settings numbered only the first seven layouts.
constexpr int kLegacyCount = 7;

} // namespace

YUVTypeInstance::YUVTypeInstance()
{
    const int count = LayoutCount();
    types.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        const Layout& layout = LayoutAt(i);
        types.emplace_back(i, layout.idName, layout.displayName);
    }
}

YUVTypeInstance* YUVTypeInstance::GetInstance()
{
    // Function-local static: built once, thread-safe, never destroyed early.
    static YUVTypeInstance instance;
    return &instance;
}

int YUVTypeInstance::GetSize() const
{
    return static_cast<int>(types.size());
}

int YUVTypeInstance::GetType(YUVType& out, int index) const
{
    if (index < 0 || index >= GetSize()) {
        return -1;
    }
    out = types[static_cast<size_t>(index)];
    return 0;
}

YUVType YUVTypeInstance::FindTypeByIdName(std::string name) const
{
    for (const YUVType& type : types) {
        if (type.idName == name) {
            return type;
        }
    }
    return YUVType::YUV_TYPE_UNKNOW;
}

std::string YUVTypeInstance::GetTypeNameByOldIndex(int index) const
{
    if (index < 0 || index >= kLegacyCount) {
        return std::string();
    }
    return types[static_cast<size_t>(index)].idName;
}

} // namespace lumo
