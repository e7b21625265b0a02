#include "ir/Statement.hpp"

#include "ir/Function.hpp"

namespace sxir {

Statement::Statement(Function const& function) : IrObject(function.getContext()), mFunction(&function) {}

Statement::~Statement() = default;

StatementVisitor::~StatementVisitor() = default;

} // namespace sxir
