// The table of kinds: one row a kind, in one place. Adding a kind is a row here plus the kind's own files
// (handle, body, text and binary payload); the order between kinds, the loader and the conversions of
// CGeneric follow from the row.
#pragma once

#include "ztbase/generic/generic.h"

namespace ZtBase::detail {

struct GenericKind {
    E_GenericTypes code;
    // The body class's name. The order between kinds is the byte order of these names (a fixed table,
    // whatever a compiler's type information would say).
    const char* bodyName;
    // A fresh body for the loader to read the kind's payload into; null for kinds without a binary form
    // (they load as the null value, and nothing more is read).
    CGenericBodyBase* (*makeForLoading)();
};

// The row of a kind code. Codes outside the table have the row of code 0 (the bare body, no factory).
const GenericKind& KindRow(unsigned code) noexcept;

}  // namespace ZtBase::detail
