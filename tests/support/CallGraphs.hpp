// Expression graphs over calls that change a module variable, shared and unfolded: what the
// interpreter and the C back end must both run as the unfolded tree runs.
#pragma once

#include "tests/support/IrFixture.hpp"

#include <algorithm>
#include <functional>
#include <random>
#include <vector>

namespace sxir_test {

/// Declares in `module` a real variable m and tick(a), which adds a to m and gives m.
inline sxir::Function& addTick(sxir::Module& module)
{
    sxir::Context const& context = module.getContext();
    sxir::BuiltinType const& real = context.getBuiltinType(sxu::DataTypeId::Real);
    module.getModuleScope().addScopeItem<sxir::Variable>("m")->setType(real);
    sxir::Function& tick = addTypedFunction(module, "tick", {{"a", &real}}, {{"now", &real}});
    sxir::Expression const m = tick.expression("m");
    // An assignment to a module variable belongs to no function by its sides: it is appended by hand.
    auto* add = new sxir::AssignmentStatement(tick);
    add->setExpression(sxir::AssignmentStatement::LHS, m);
    add->setExpression(sxir::AssignmentStatement::RHS, m + tick.expression("a"));
    tick.append(add);
    *tick.expression("now") = m;
    return tick;
}

/// An expression graph over x, the module variable m and calls of tick(a): each node is a leaf, a
/// sum, a difference, a half or a call of earlier nodes.
struct Graph {
    enum Kind { X, M, Constant, Add, Subtract, Half, Tick };
    struct Node {
        Kind kind;
        int a, b;
        double constant;
    };
    std::vector<Node> nodes;

    static Graph random(unsigned seed)
    {
        Graph graph;
        std::mt19937 random(seed);
        static Kind const inner[] = {X, M, Constant, Add, Subtract, Half, Tick, Tick};
        for (int i = 0; i < 16; ++i) {
            // Leaves first, a sum last; a node mostly takes one of the last three, so that most
            // nodes reach the last.
            Kind const kind = i < 2 ? static_cast<Kind>(random() % 3) : i == 15 ? Add : inner[random() % 8];
            int const a = i == 0 ? 0 : std::max(0, i - 1 - static_cast<int>(random() % 3));
            int const b = i == 0 ? 0 : static_cast<int>(random() % i);
            graph.nodes.push_back(Node{kind, a, b, static_cast<double>(random() % 9) - 4});
        }
        return graph;
    }
    /// The graph's last node, in a function that reaches x, m and tick: `shared` builds each node
    /// once and reuses it; otherwise every use builds its own tree.
    sxir::Expression build(sxir::Function& f, bool shared) const
    {
        std::vector<sxir::Expression> built;
        std::function<sxir::Expression(int)> make = [&](int i) -> sxir::Expression {
            if (shared && i < static_cast<int>(built.size())) {
                return built[static_cast<std::size_t>(i)];
            }
            Node const& node = nodes[static_cast<std::size_t>(i)];
            switch (node.kind) {
            case X:
                return f.expression("x");
            case M:
                return f.expression("m");
            case Constant:
                return sxir::Expression(f.getContext(), node.constant);
            case Add:
                return make(node.a) + make(node.b);
            case Subtract:
                return make(node.a) - make(node.b);
            case Half:
                return make(node.a) * 0.5;
            case Tick:
                break;
            }
            return f.expression("tick") << make(node.a);
        };
        for (int i = 0; i < static_cast<int>(nodes.size()); ++i) {
            sxir::Expression const node = make(i);
            built.push_back(node);
        }
        return built.back();
    }
};

} // namespace sxir_test
