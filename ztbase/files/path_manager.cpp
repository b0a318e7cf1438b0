#include "ztbase/files/path_manager.h"

namespace ZtBase {

namespace {
constexpr int kFreeSlot = -1;
}

void CXPathManager::ParsePaths(CStr text, ZtRefArray<CStr>& list) {
    list.clear();
    CStr piece;
    for (char c : text) {
        if (c == ';') {
            if (piece.Length() != 0) list.push_back(piece);
            piece.Blank();
        }
        piece += c;  // the ";" too: it opens the next piece
    }
    if (piece.Length() != 0) list.push_back(piece);
}

void CXPathManager::AddCodePath(PathCode code, CStr text) {
    if (code == kFreeSlot) return;
    ZtRefArray<CStr> pieces;
    ParsePaths(text, pieces);
    int start = FindLastOf(code) + 1;
    for (const CStr& piece : pieces) {
        const int slot = FindFirstEmptySlot(start);
        if (slot == GetSlotCount()) {
            m_paths.push_back(piece);
            m_codes.push_back(code);
        } else {
            m_paths[static_cast<unsigned>(slot)] = piece;
            m_codes[static_cast<unsigned>(slot)] = code;
        }
        start = slot + 1;
    }
}

void CXPathManager::SetCodePath(PathCode code, CStr text) {
    ClearCodePath(code);
    AddCodePath(code, text);
}

void CXPathManager::ClearCodePath(PathCode code) {
    for (unsigned i = 0; i < m_codes.size(); ++i) {
        if (m_codes[i] == code) {
            m_paths[i].Blank();
            m_codes[i] = kFreeSlot;
        }
    }
}

CStr CXPathManager::GetCodePath(PathCode code) const {
    const int slot = FindFirstOf(code);
    return slot < 0 ? CStr() : m_paths[static_cast<unsigned>(slot)];
}

CStr CXPathManager::GetCodePathIdx(PathCode code, int idx) const {
    if (idx < 0) return CStr();
    int seen = 0;
    for (unsigned i = 0; i < m_codes.size(); ++i)
        if (m_codes[i] == code && seen++ == idx) return m_paths[i];
    return CStr();
}

int CXPathManager::GetCodePathCount(PathCode code) const {
    int n = 0;
    for (unsigned i = 0; i < m_codes.size(); ++i)
        if (m_codes[i] == code) ++n;
    return n;
}

int CXPathManager::FindFirstOf(PathCode code) const {
    for (unsigned i = 0; i < m_codes.size(); ++i)
        if (m_codes[i] == code) return static_cast<int>(i);
    return -1;
}

int CXPathManager::FindLastOf(PathCode code) const {
    for (unsigned i = static_cast<unsigned>(m_codes.size()); i > 0; --i)
        if (m_codes[i - 1] == code) return static_cast<int>(i - 1);
    return -1;
}

int CXPathManager::FindFirstEmptySlot(int start) const {
    const int count = GetSlotCount();
    for (int i = start < 0 ? 0 : start; i < count; ++i)
        if (m_codes[static_cast<unsigned>(i)] == kFreeSlot) return i;
    return count;
}

void CXPathManager::Reset() {
    m_paths.clear();
    m_codes.clear();
    m_spare.Blank();
}

}  // namespace ZtBase
