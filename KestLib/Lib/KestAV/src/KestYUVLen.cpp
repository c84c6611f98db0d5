#include "KestAV/KestYUVLen.h"

namespace Kest {

KestYUVLen::KestYUVLen()
    : yLen(0), uLen(0), vLen(0), uvLen(0), yWidth(0), uWidth(0), vWidth(0), uvWidth(0), yHeight(0),
      uHeight(0), vHeight(0), uvHeight(0)
{
}

} // namespace Kest
