// CXPathManager: for each purpose code, the list of directories to search. The directories live in
// slots; each slot holds a path and the code it belongs to, -1 marking a free slot. Clearing a code frees
// its slots for reuse instead of removing them, so the slots of different codes may interleave; the paths
// of one code are always taken in slot order.
//
// Not locked: paths are set up before files are searched, and changing them while other threads search is
// not supported.
#pragma once

#include "ztbase/base/arrays.h"
#include "ztbase/files/xfile.h"
#include "ztbase/platform/export.h"
#include "ztbase/strings/str.h"

namespace ZtBase {

// The purpose code of a search path.
using PathCode = int;  // an EOpenCode; any 32-bit value names a purpose

class ZTBASE_API CXPathManager {
public:
    CXPathManager() = default;
    CXPathManager(const CXPathManager&) = default;
    CXPathManager& operator=(const CXPathManager&) = default;

    // Splits a list of paths at each ";". Every piece after the first keeps the ";" that ended the piece
    // before it ("C:\a\;C:\b\" gives "C:\a\" and ";C:\b\"); empty pieces are dropped. The pieces that
    // start with ";" are not valid directories, so only the first path of a list completes names.
    static void ParsePaths(CStr text, ZtRefArray<CStr>& list);

    // Adds the paths of text for code. The first piece goes to the first free slot after the code's last
    // slot (from the start when the code has none), or at the end; each further piece to the first free
    // slot after the one before it. Code -1 marks free slots and is ignored here.
    void AddCodePath(PathCode code, CStr text);
    // ClearCodePath, then AddCodePath.
    void SetCodePath(PathCode code, CStr text);
    // Every slot of code gets a blank path and becomes free.
    void ClearCodePath(PathCode code);

    // The path of the code's first slot, or blank.
    CStr GetCodePath(PathCode code) const;
    // The path of the code's idx-th slot (from 0, in slot order), or blank.
    CStr GetCodePathIdx(PathCode code, int idx) const;
    int GetCodePathCount(PathCode code) const;

    // The first or last slot that holds code, or -1.
    int FindFirstOf(PathCode code) const;
    int FindLastOf(PathCode code) const;
    // The first free slot from start on, or the slot count (the end) when there is none.
    int FindFirstEmptySlot(int start) const;

    // Removes every slot.
    void Reset();

    // The slots as they are, free ones included.
    int GetSlotCount() const noexcept { return static_cast<int>(m_codes.size()); }
    PathCode GetSlotCode(int slot) const { return m_codes.at(static_cast<unsigned>(slot)); }
    CStr GetSlotPath(int slot) const { return m_paths.at(static_cast<unsigned>(slot)); }

private:
    ZtRefArray<CStr> m_paths;
    ZtArray<int> m_codes;  // parallel to m_paths, -1 for a free slot
    CStr m_spare;
};

}  // namespace ZtBase
