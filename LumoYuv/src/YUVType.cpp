#include "lumo/YUVType.h"

#include <utility>

namespace lumo {

YUVType::YUVType() : index(-1) {}

YUVType::YUVType(int index, std::string idName, std::string name)
    : index(index), idName(std::move(idName)), name(std::move(name))
{
}

bool YUVType::operator==(const YUVType& other) const
{
    return index == other.index && idName == other.idName;
}

bool YUVType::operator!=(const YUVType& other) const
{
    return !(*this == other);
}

} // namespace lumo
