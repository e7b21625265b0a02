// sxu::DataTypeId: the scalar data types of the IR, used directly as table indices.
#pragma once

#include <cstdint>

namespace sxu {

struct DataTypeId {
    enum Type : std::int32_t {
        Boolean = 0, ///< stored as unsigned char
        Real = 1,    ///< double
        Int32 = 2,   ///< int
        UInt32 = 3,  ///< unsigned int
        Char = 4,    ///< char
    };
    static constexpr unsigned long Count = 5;
};

} // namespace sxu
