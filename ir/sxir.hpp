// The whole public API of sxir and its utility layer.
#pragma once

#include "util/Allocate.hpp"
#include "util/Assertion.hpp"
#include "util/DataTypeId.hpp"
#include "util/Dimension.hpp"
#include "util/Export.hpp"
#include "util/List.hpp"
#include "util/String.hpp"
#include "util/Vector.hpp"

#include "ir/AuxiliaryData.hpp"
#include "ir/Base.hpp"
#include "ir/BuiltinType.hpp"
#include "ir/Context.hpp"
#include "ir/ContextImpl.hpp"
#include "ir/ErrorId.hpp"
#include "ir/IrObject.hpp"
#include "ir/MatrixType.hpp"
#include "ir/RuntimeEnvironment.hpp"
#include "ir/ThrowingRuntimeEnvironment.hpp"
#include "ir/Type.hpp"
