// The treebank reader: bracketed trees into tree nodes (the grammar is in tree_node.h). It keeps its own
// stack of open brackets, so that deep text costs no stack, and refuses more than kMaxGenericNesting.
#include <vector>

#include "ztbase/generic/internal/generic_errors.h"
#include "ztbase/generic/scalars.h"
#include "ztbase/generic/text_reader.h"
#include "ztbase/generic/tree_node.h"

namespace ZtBase {

namespace {

constexpr char kExpectedOpen[] = "Treebank text: expected \"(\" : \"";
constexpr char kExpectedClose[] = "Treebank text: expected \")\" or a tree : \"";
constexpr char kExpectedContent[] = "Treebank text: expected a label, a word or a tree : \"";
constexpr char kUnexpectedEnd[] = "Treebank text: unexpected end, expected \")\" : \"";
constexpr char kTooDeep[] = "Treebank text: trees nested too deeply : \"";

bool IsSpace(unsigned short c) {
    return c <= 32;
}
bool IsTokenUnit(unsigned short c) {
    return !IsSpace(c) && c != '(' && c != ')';
}

struct Open {
    CUniStr label;
    CUniStr word;
    std::vector<CTreeNode> children;
};

CTreeNode Close(Open& open) {
    if (open.label.Length() == 0) {
        if (open.children.size() == 1) return open.children.front();  // "( (S ...) )": the tree it holds
        CTreeNode node = MakeTreeNode();
        for (const CTreeNode& child : open.children) node.AddChild(child);
        return node;
    }
    CTreeNode node = MakeTreeNode(CSymbol(open.label));
    if (open.word.Length() > 0) node.SetValue(CSymbol("word"), CGenericString(open.word));
    for (const CTreeNode& child : open.children) node.AddChild(child);
    return node;
}

}  // namespace

CTreeNode ReadPennTree(const CUniStr& text, unsigned int& position, unsigned int& stoppedAt) {
    const unsigned n = text.Length();
    unsigned at = position;
    const auto fail = [&](const char* message) {
        stoppedAt = at;
        detail::ThrowStreamError(message, text, at, __LINE__);
    };
    const auto skip = [&] {
        while (at < n && IsSpace(text[at])) ++at;
    };
    const auto token = [&] {
        const unsigned start = at;
        while (at < n && IsTokenUnit(text[at])) ++at;
        return text.Copy(start, at - start);
    };
    skip();
    if (at >= n) {
        position = at;
        return CTreeNode();
    }
    if (text[at] != '(') {
        ++at;
        fail(kExpectedOpen);
    }
    std::vector<Open> stack;
    for (;;) {
        skip();
        if (at >= n) fail(kUnexpectedEnd);
        const unsigned short c = text[at];
        if (c == '(') {
            if (!stack.empty() && stack.back().word.Length() > 0) {
                ++at;
                fail(kExpectedClose);  // a word and then a tree
            }
            if (stack.size() >= kMaxGenericNesting) {
                ++at;
                fail(kTooDeep);
            }
            ++at;
            stack.emplace_back();
            skip();
            if (at < n && IsTokenUnit(text[at])) stack.back().label = token();
        } else if (c == ')') {
            ++at;
            Open& top = stack.back();
            if (top.label.Length() == 0 && top.children.empty()) fail(kExpectedContent);  // "()"
            if (top.label.Length() > 0 && top.word.Length() == 0 && top.children.empty())
                fail(kExpectedContent);  // "(NN)"
            CTreeNode node = Close(top);
            stack.pop_back();
            if (stack.empty()) {
                position = at;
                return node;
            }
            stack.back().children.push_back(node);
        } else {
            Open& top = stack.back();
            if (top.label.Length() == 0 || top.word.Length() > 0 || !top.children.empty()) {
                ++at;
                fail(kExpectedClose);
            }
            top.word = token();
        }
    }
}

void CGeneric::SetFromPennTreeString(const CUniStr& text) {
    unsigned position = 0, stopped = 0;
    std::vector<CTreeNode> trees;
    for (CTreeNode tree; !(tree = ReadPennTree(text, position, stopped)).IsNull();) trees.push_back(tree);
    if (trees.size() == 1) {
        *this = trees.front();
        return;
    }
    CGenericList list;
    for (auto it = trees.rbegin(); it != trees.rend(); ++it) list = CGenericList(*it, list);
    *this = list;
}

}  // namespace ZtBase
