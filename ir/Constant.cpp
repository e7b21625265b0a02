#include "ir/Constant.hpp"

#include "ir/BuiltinType.hpp"
#include "ir/Context.hpp"
#include "ir/Function.hpp"
#include "ir/detail/Printing.hpp"
#include "util/Assertion.hpp"

namespace sxir {

Constant::~Constant() = default;

namespace {

template <class T>
Constant* createFrom(Context const& context, void const* value)
{
    return new ScalarConstant<T>(context, *static_cast<T const*>(value));
}

using Creator = Constant* (*)(Context const&, void const*);

// Indexed by data type id.
Creator const sCreators[sxu::DataTypeId::Count] = {
    &createFrom<unsigned char>, &createFrom<double>, &createFrom<int>, &createFrom<unsigned int>, &createFrom<char>,
};

} // namespace

Constant* Constant::createScalarConstant(Context const& context, sxu::DataTypeId::Type id, void const* value)
{
    SXU_CHECK(static_cast<unsigned long>(id) < sxu::DataTypeId::Count, "data type id out of range");
    return sCreators[id](context, value);
}

bool Constant::isBuiltinType(sxu::DataTypeId::Type id) const
{
    return getType()->isBuiltinType(id);
}

Type const* Constant::getGenericType() const
{
    return getType();
}

ExpressionData* Constant::clone(Function const& target) const
{
    return localClone(target.getContext());
}

template <class T>
ScalarConstant<T>::~ScalarConstant() = default;

template <class T>
BuiltinType const* ScalarConstant<T>::getType() const
{
    return &this->getContext().getBuiltinType(ScalarDataType<T>::sId);
}

template <class T>
sxu::string ScalarConstant<T>::asString() const
{
    return detail::textOf(*this);
}

template class ScalarConstant<unsigned char>;
template class ScalarConstant<double>;
template class ScalarConstant<int>;
template class ScalarConstant<unsigned int>;
template class ScalarConstant<char>;

} // namespace sxir
