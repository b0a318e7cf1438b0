#include "ztbase/generic/internal/kinds.h"

#include "ztbase/generic/association.h"
#include "ztbase/generic/generic_blob.h"
#include "ztbase/generic/generic_dag.h"
#include "ztbase/generic/generic_file.h"
#include "ztbase/generic/list.h"
#include "ztbase/generic/scalars.h"
#include "ztbase/generic/set.h"
#include "ztbase/generic/symbol.h"
#include "ztbase/generic/tree_node.h"

namespace ZtBase::detail {

namespace {

template <class Rep>
CGenericBodyBase* Make() {
    return new Rep();
}

constexpr GenericKind kKinds[] = {
    {eGenericNull, "CGenericBodyBase", nullptr},
    {eGenericSymbol, "CSymbolRep", &Make<CSymbolRep>},
    {eGenericString, "CGenericStringRep", &Make<CGenericStringRep>},
    {eGenericNumber, "CGenericNumberRep", &Make<CGenericNumberRep>},
    {eGenericAssociation, "CAssociationRep", &Make<CAssociationRep>},
    {eGenericAssociationBundle, "CAssociationBundleRep", &Make<CAssociationBundleRep>},
    {eGenericSet, "CGenericSetRep", &Make<CGenericSetRep>},
    {eGenericList, "CGenericListRep", &Make<CGenericListRep>},
    {eGenericVariable, "CGenericVariableRep", nullptr},  // no binary form: a variable loads as null
    {eGenericTreeNode, "CTreeNodeRep", nullptr},         // no binary form: a tree node loads as null
    {eGenericFile, "CGenericXFileRep", &Make<CGenericXFileRep>},
    {eGenericDag, "CGenericDagRep", &Make<CGenericDagRep>},          // reads nothing: a new DAG
    {eGenericDagNode, "CGenericDagNodeRep", &Make<CGenericDagRep>},  // a DAG, deliberately not a node
    {eGenericBlob, "CGenericBlobRep", &Make<CGenericBlobRep>},       // reads nothing: an empty blob
};
constexpr unsigned kKindCount = sizeof kKinds / sizeof kKinds[0];

constexpr bool NameLess(const char* a, const char* b) {
    for (; *a && *a == *b; ++a, ++b) {
    }
    return static_cast<unsigned char>(*a) < static_cast<unsigned char>(*b);
}

// Each kind's place (from 1) in the byte order of the body classes' names.
struct Ranks {
    int rank[kKindCount];
    constexpr Ranks() : rank{} {
        for (unsigned i = 0; i < kKindCount; ++i) {
            rank[i] = 1;
            for (unsigned j = 0; j < kKindCount; ++j)
                if (NameLess(kKinds[j].bodyName, kKinds[i].bodyName)) ++rank[i];
        }
    }
};
constexpr Ranks kRanks;

// The table lists every code in order, so that a code is its row's index.
constexpr bool CodesInOrder() {
    for (unsigned i = 0; i < kKindCount; ++i)
        if (kKinds[i].code != static_cast<E_GenericTypes>(i)) return false;
    return true;
}
static_assert(CodesInOrder(), "the table of kinds lists the codes from 0 on");

}  // namespace

const GenericKind& KindRow(unsigned code) noexcept {
    return kKinds[code < kKindCount ? code : 0];
}

}  // namespace ZtBase::detail

namespace ZtBase {

int KindOrder(E_GenericTypes kind) noexcept {
    const unsigned code = static_cast<unsigned>(kind);
    return detail::kRanks.rank[code < detail::kKindCount ? code : 0];
}

}  // namespace ZtBase
