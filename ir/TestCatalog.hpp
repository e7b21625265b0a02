// sxir::TestCatalog: the process-wide registry of named sample modules for test drivers.
#pragma once

#include "util/Allocate.hpp"
#include "util/Export.hpp"
#include "util/String.hpp"

#include <vector>

namespace sxir {

class Context;
class Module;

class SXIR_API TestCatalog : public sxu::AllocatorBase {
public:
    /// Builds a sample: adds a module "module" to the context's global scope and fills it.
    typedef Module* (*Builder)(Context const& context);

    /// The one catalog, created on first use; the twelve samples register at load time.
    static TestCatalog* get();

    /// Builds the sample `name` into `context`; null when no sample has that name.
    virtual Module* createModule(sxu::string const& name, Context const& context) = 0;
    /// Registers a sample; a name registered before keeps its first builder. Returns true.
    virtual bool registerEntry(sxu::string const& name, Builder builder) = 0;
    virtual ~TestCatalog();
    /// The registered names in the catalog's (byte-wise sorted) order.
    virtual std::vector<sxu::string> getEntryNames() const = 0;
};

} // namespace sxir
