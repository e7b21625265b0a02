#include "ir/detail/Printing.hpp"

#include "ir/Function.hpp"
#include "ir/detail/TextSink.hpp"
#include "ir/detail/Walk.hpp"

#include <string_view>

namespace sxir {
namespace detail {

namespace {

// A boolean prints as the raw byte, as a stream writes an unsigned char; a char as itself.
void appendValue(TextSink& out, unsigned char value)
{
    out.append(static_cast<char>(value));
}

void appendValue(TextSink& out, char value)
{
    out.append(value);
}

void appendValue(TextSink& out, double value)
{
    out.appendGeneral(value);
}

template <class Integer>
void appendValue(TextSink& out, Integer value)
{
    out.appendDecimal(value);
}

/// Each kind's text: `piece` 0 is what comes before the first sub-expression (all of it,
/// for a leaf), and piece k what follows sub-expression k - 1. On piece 0 the visit
/// answers how many sub-expressions to print.
class ExpressionPrinter : public ExpressionKindVisitor<ExpressionPrinter, unsigned long> {
public:
    explicit ExpressionPrinter(TextSink& out) : mOut(out) {}

    SXIR_ALWAYS_INLINE unsigned long enter(ExpressionData const* node, Children const& children)
    {
        if (node == nullptr) {
            mOut.append(std::string_view("(nil)"));
            return 0;
        }
        return visitKind(children.kind, *node, children, 0ul);
    }
    SXIR_ALWAYS_INLINE void next(ExpressionData const& node, Children const& children, unsigned long done)
    {
        visitKind(children.kind, node, children, done);
    }
    bool leave(ExpressionData const&, Children const&) { return true; }

    unsigned long visitConstant(Constant const& node, Children const&, unsigned long)
    {
        bool const scalar = NodeAccess::forScalar(
            node, [this](auto const& constant) { appendValue(mOut, std::get<0>(constant.fields())); });
        if (!scalar) {
            mOut.append(node.asString());
        }
        return 0;
    }
    SXIR_ALWAYS_INLINE unsigned long visitVariableRef(VariableRef const& node, Children const&, unsigned long)
    {
        mOut.append(node.getVariable().getName());
        return 0;
    }
    unsigned long visitFunctionRef(FunctionRef const& node, Children const&, unsigned long)
    {
        mOut.append(node.getFunction().getName());
        return 0;
    }
    SXIR_ALWAYS_INLINE unsigned long visitOperator(Operator const& node, Children const& children, unsigned long piece)
    {
        // Binary native operators are parenthesised, unary ones not; functions print as calls.
        std::string_view const text = Operator::getTextPiece(node.getOp(), piece);
        if (!text.empty()) {
            mOut.append(text);
        }
        return piece == 0 ? children.count : 0;
    }
    unsigned long visitMatrixRef(MatrixRef const&, Children const&, unsigned long piece)
    {
        static char const pieces[] = {'\0', '(', ',', ')'};
        if (piece != 0) {
            mOut.append(pieces[piece]);
        }
        return piece == 0 ? 3 : 0;
    }
    unsigned long visitSubMatrix(SubMatrix const& node, Children const&, unsigned long piece)
    {
        if (piece == 0) {
            return 1;
        }
        mOut.append('(');
        mOut.appendDecimal(node.getFirst());
        mOut.append(':');
        mOut.appendDecimal(node.getLast());
        mOut.append(')');
        return 0;
    }
    unsigned long visitFunctionCall(FunctionCall const&, Children const& children, unsigned long piece)
    {
        // The function, then "(", the operands separated by ",", and ")".
        unsigned long const operands = children.count - 1;
        if (piece == 1) {
            mOut.append('(');
        } else if (piece > 1 && piece <= operands) {
            mOut.append(',');
        }
        if (piece == operands + 1) {
            mOut.append(')');
        }
        return piece == 0 ? children.count : 0;
    }
    unsigned long visitCustom(CustomExpressionData const& node, Children const&, unsigned long)
    {
        mOut.append(node.asString());
        return 0;
    }

private:
    TextSink& mOut;
};

/// Prints until the text is longer than `limit`, then ends the walk.
class BoundedPrinter {
public:
    BoundedPrinter(TextSink& out, std::size_t limit) : mOut(out), mPrinter(out), mLimit(limit) {}

    unsigned long enter(ExpressionData const* node, Children const& children)
    {
        return mOut.size() > mLimit ? sStopWalk : mPrinter.enter(node, children);
    }
    void next(ExpressionData const& node, Children const& children, unsigned long done)
    {
        mPrinter.next(node, children, done);
    }
    bool leave(ExpressionData const&, Children const&) { return mOut.size() <= mLimit; }

private:
    TextSink& mOut;
    ExpressionPrinter mPrinter;
    std::size_t mLimit;
};

struct Placement {
    bool inList; // a statement of a list, indented and ended by a newline
};

/// Statement text: "x=y"; "if c\n", the true branch, "else\n" and the false branch when
/// it is not empty, "end\n". Within a list each statement is indented by four blanks
/// and followed by a newline; nested branches are not indented further.
class StatementPrinter : public StatementKindVisitor<StatementPrinter, Visit> {
public:
    using Data = Placement;

    explicit StatementPrinter(TextSink& out) : mOut(out) {}

    Visit enterStatement(Statement const& statement, Placement& placement)
    {
        if (placement.inList) {
            mOut.append(std::string_view("    "));
        }
        return visit(statement, placement);
    }
    Visit visitAssignment(AssignmentStatement const& statement, Placement const& placement)
    {
        printExpression(*statement.getExpressionNode(AssignmentStatement::LHS), mOut);
        mOut.append('=');
        printExpression(*statement.getExpressionNode(AssignmentStatement::RHS), mOut);
        if (placement.inList) {
            mOut.append('\n');
        }
        return Visit::Skip;
    }
    Visit visitIf(IfStatement const& statement, Placement const&)
    {
        mOut.append(std::string_view("if "));
        printExpression(*statement.getExpressionNode(0), mOut);
        mOut.append('\n');
        return Visit::Enter;
    }
    Visit enterList(Statement const& owner, unsigned long position, Placement&, Placement& nested)
    {
        nested.inList = true;
        if (position == 0) {
            return Visit::Enter;
        }
        if (owner.getStatementList(position).getStatementList().empty()) {
            return Visit::Skip;
        }
        mOut.append(std::string_view("else\n"));
        return Visit::Enter;
    }
    void leaveList(Statement const&, unsigned long, Placement&) {}
    bool leaveStatement(Statement const& statement, Placement& placement)
    {
        if (statement.getNumStatementLists() != 0) {
            // An if statement within a list ends with the list's own line end: an empty line.
            mOut.append(std::string_view(placement.inList ? "end\n\n" : "end\n"));
        }
        return true;
    }

private:
    TextSink& mOut;
};

} // namespace

void printExpression(ExpressionData const& node, TextSink& out)
{
    ExpressionPrinter printer(out);
    walkExpression(printer, node);
}

sxu::string textOf(ExpressionData const& node)
{
    sxu::string text;
    {
        TextSink sink(text);
        printExpression(node, sink);
    }
    return text;
}

sxu::string excerptOf(ExpressionData const& node)
{
    constexpr std::size_t limit = 120;
    sxu::string text;
    {
        TextSink sink(text);
        BoundedPrinter printer(sink, limit);
        walkExpression(printer, node);
    }
    if (text.size() > limit) {
        text.resize(limit - 3);
        text += "...";
    }
    return text;
}

sxu::string textOf(Statement const& statement)
{
    sxu::string text;
    {
        TextSink sink(text);
        StatementPrinter printer(sink);
        StatementWalker<StatementPrinter>::walkStatement(printer, statement, Placement{false});
    }
    return text;
}

void printStatements(CompoundStatement const& list, sxu::string& out)
{
    TextSink sink(out);
    StatementPrinter printer(sink);
    StatementWalker<StatementPrinter>::walkList(printer, list, Placement{true});
}

} // namespace detail
} // namespace sxir
