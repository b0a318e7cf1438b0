// The vocabulary shared by the string classes: comparison results and modes, justification, character
// sets and number formats. The numeric values are part of the interface: callers store and compare them.
#pragma once

namespace ZtBase {

enum ECompare { eNoResult = 0, eLess = 1, eGreater = 2, eEqual = 3 };

enum ECompareMode {
    eExact = 0,             // code by code (8-bit: by sort key, then rank)
    eIgnoreCase = 1,        // both sides upper-cased
    eIgnoreDiacritics = 2,  // both sides stripped to their base letters, case kept
    eIgnoreBoth = 3         // both sides mapped to their sort keys
};

enum EJust { eRightJustify = 0, eLeftJustify = 1, eCenter = 2 };

enum CharSetIdentifier { eDOSCharSet = 0, eWindowsCharSet = 1, eMacCharSet = 2 };

enum StrFormat { eDecimal = 0, eHexadecimal = 1 };

}  // namespace ZtBase
