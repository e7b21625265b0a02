#include "tests/support/IrFixture.hpp"

namespace {
} // namespace
