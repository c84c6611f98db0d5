#ifndef LUMO_YUVTYPE_H
#define LUMO_YUVTYPE_H

#include <string>

namespace lumo {

// One raw pixel layout: its position in the registry (YUVTypeInstance), a
// stable ASCII key used in saved settings, and the label users read.
class YUVType {
public:
    // The unknown layout: index -1 and empty names.
    YUVType();
    YUVType(int index, std::string idName, std::string name);

    // Two layouts are the same when index and id name agree; the display
    // name is only a label.
    bool operator==(const YUVType& other) const;
    bool operator!=(const YUVType& other) const;

    int index;
    std::string idName;
    std::string name;

    // Planar 4:2:0, registry entry 0.
    static const YUVType YUV_TYPE_I420;
    // What failed look-ups return.
    static const YUVType YUV_TYPE_UNKNOW;
};

// Inline definitions are initialised before any global of a file that
// includes this header, so other static initialisers may use them.
inline const YUVType YUVType::YUV_TYPE_I420{0, "I420", "I420 (YUV 4:2:0 planar)"};
inline const YUVType YUVType::YUV_TYPE_UNKNOW{};

} // namespace lumo

#endif
