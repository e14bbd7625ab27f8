#include "foundation/RWxmsg.h"

namespace orla {

RWBoundsErr::RWBoundsErr(std::size_t index, std::size_t entries)
    : RWInternalErr("[INDEX] Index (" + std::to_string(index) + ") out of range [0->" +
                    std::to_string(entries) + "]") {}

}  // namespace orla
