#include "ir/RuntimeEnvironment.hpp"

namespace sxir {

RuntimeEnvironment::~RuntimeEnvironment() = default;

} // namespace sxir
