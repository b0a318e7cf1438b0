// The Unicode string database and its text dump.
#include "ztbase/datatable/unistr_db.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "ztbase/base/error_codes.h"
#include "ztbase/errors/exceptions.h"
#include "ztbase/files/file_system.h"

namespace ZtBase {

namespace {

constexpr char kDumpHeader[] = "ZtDbDump 1";
constexpr unsigned short kBackslash = 92;

// Escapes backslash, tab, line feed and carriage return; keys keep their own escapes as they are, because
// their backslashes are written doubled and read back doubled.
std::string EscapeField(const CUniStr& text) {
    std::string out;
    AppendUtf8(text.c_str(), text.GetLength(), out);
    std::string escaped;
    escaped.reserve(out.size());
    for (char c : out) {
        switch (c) {
            case '\\':
                escaped += "\\\\";
                break;
            case '\t':
                escaped += "\\t";
                break;
            case '\n':
                escaped += "\\n";
                break;
            case '\r':
                escaped += "\\r";
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

bool UnescapeField(std::string_view field, CUniStr& out) {
    std::string text;
    text.reserve(field.size());
    for (std::size_t i = 0; i < field.size(); ++i) {
        if (field[i] != '\\') {
            text += field[i];
            continue;
        }
        if (++i == field.size()) return false;
        switch (field[i]) {
            case '\\':
                text += '\\';
                break;
            case 't':
                text += '\t';
                break;
            case 'n':
                text += '\n';
                break;
            case 'r':
                text += '\r';
                break;
            default:
                return false;
        }
    }
    out = CUniStr::FromUtf8(text);
    return true;
}

void WriteText(CXFile& file, const std::string& text) {
    if (!text.empty()) file.WriteBlock(text.data(), static_cast<unsigned>(text.size()));
}

CUniStr ValueOf(const char* bytes, unsigned size) {
    if (!bytes || size < 4) return CUniStr();
    unsigned count;
    std::memcpy(&count, bytes, 4);
    count = std::min(count, (size - 4) / 2);
    if (count == 0) return CUniStr();
    std::vector<unsigned short> units(count);
    std::memcpy(units.data(), bytes + 4, 2ull * count);
    return CUniStr(units.data(), count);
}

struct Entry {
    CUniStr key;
    CUniStr value;
};

// The records at or under prefix, in the table's order or sorted.
std::vector<Entry> Collect(CUniStrDBRep& table, const unsigned short* prefix, bool sorted) {
    std::vector<Entry> entries;
    for (auto it = table.GetTableBegin(prefix); !it.IsEnd(); ++it)
        entries.push_back(Entry{it.GetKey(), ValueOf(it.GetBytes(), it.GetSize())});
    if (sorted)
        std::sort(entries.begin(), entries.end(),
                  [](const Entry& a, const Entry& b) { return a.key.ToU16() < b.key.ToU16(); });
    return entries;
}

}  // namespace

CUniStrDBRep::CUniStrDBRep(const CUniStr& fileName, unsigned char readOnly, unsigned short separator)
    : ZtMappedDataTable<CUniStrStruct>(fileName, readOnly, 0, separator) {}

unsigned char CUniStrDBRep::GetCUniStrRecord(const unsigned short* key, CUniStr& value) {
    try {
        unsigned size = 0;
        const char* bytes = GetRecordBytes(key, &size);
        if (!bytes) return 0;
        CUniStr text;
        try {
            text = ValueOf(bytes, size);
        } catch (...) {
            ReleaseRecord();
            throw;
        }
        ReleaseRecord();
        value = text;
        return 1;
    } catch (const CZtMappedDataTableException&) {
        return 0;
    }
}

unsigned char CUniStrDBRep::SetCUniStrRecord(const unsigned short* key, const CUniStr& value) {
    const unsigned n = value.GetLength();
    std::vector<char> data(4 + 2ull * n);
    std::memcpy(data.data(), &n, 4);
    if (n) std::memcpy(data.data() + 4, value.c_str(), 2ull * n);
    return SetRecordBytes(CUniStr(key), data.data(), static_cast<unsigned>(data.size()));
}

unsigned char CUniStrDB::Open(const CUniStr& fileName, unsigned char readOnly) {
    Release();
    SetRepTo(new CUniStrDBRep(fileName, readOnly));
    return IsNull() ? 0 : 1;
}

unsigned char CUniStrDB::Create(const CUniStr& fileName) {
    Release();
    const CStr name = fileName.ConvertTo8Bit();
    if (gFileSystem.Exist(eOpenProgramDir, name)) {
        try {
            if (!gFileSystem.Erase(eOpenProgramDir, name)) return 0;
        } catch (const CZtException&) {
            return 0;
        }
    }
    SetRepTo(new CUniStrDBRep(fileName, 0));
    return IsNull() ? 0 : 1;
}

unsigned char CUniStrDB::GetRecord(const unsigned short* key, CUniStr& value) const {
    return m_rep ? m_rep->GetCUniStrRecord(key, value) : 0;
}

unsigned char CUniStrDB::SetRecord(const unsigned short* key, const CUniStr& value) const {
    return m_rep ? m_rep->SetCUniStrRecord(key, value) : 0;
}

unsigned char CUniStrDB::DeleteCUniStrKey(CUniStr key) const {
    return m_rep ? m_rep->Delete(key) : 0;
}

unsigned char CUniStrDB::HasKey(const CUniStr& key) const {
    return m_rep && !m_rep->GetTableBegin(key.c_str()).IsEnd() ? 1 : 0;
}

ZtRefArray<CUniStr> CUniStrDB::GetSubKeys(const CUniStr& key) const {
    ZtRefArray<CUniStr> result;
    if (!m_rep) return result;
    // The segment after the key's own of every record with data under it: records without data that only
    // lead further down are found through the records under them.
    unsigned prefixSegments = key.GetLength() ? 1 : 0;
    for (unsigned i = 0; i < key.GetLength(); ++i) {
        if (key[i] == kBackslash)
            ++i;
        else if (key[i] == m_rep->GetSeparatorChar())
            ++prefixSegments;
    }
    std::vector<std::u16string> seen;
    for (auto it = m_rep->GetTableBegin(key.c_str()); !it.IsEnd(); ++it) {
        const std::vector<CUniStr> segments = it.GetSegments();
        if (segments.size() > prefixSegments) seen.push_back(segments[prefixSegments].ToU16());
    }
    std::sort(seen.begin(), seen.end());
    seen.erase(std::unique(seen.begin(), seen.end()), seen.end());
    for (const std::u16string& s : seen) result.push_back(CUniStr(s.c_str()));
    return result;
}

void CUniStrDB::Dump(CXFile& out, unsigned displayOption) const {
    if (!(displayOption & kDumpNoHeader)) WriteText(out, std::string(kDumpHeader) + "\n");
    if (!m_rep) return;
    for (const Entry& e : Collect(*m_rep, nullptr, displayOption & kDumpSorted))
        WriteText(out, EscapeField(e.key) + "\t" + EscapeField(e.value) + "\n");
}

void CUniStrDB::DumpTable(CXFile& keys, CXFile& values, CUniStr& prefix, CUniStr& lastKey,
                          unsigned displayOption) const {
    lastKey = CUniStr();
    if (!m_rep) return;
    for (const Entry& e : Collect(*m_rep, prefix.c_str(), displayOption & kDumpSorted)) {
        WriteText(keys, EscapeField(e.key) + "\n");
        WriteText(values, EscapeField(e.value) + "\n");
        lastKey = e.key;
    }
}

unsigned CUniStrDB::Load(const CXFile& in) const {
    std::string text;
    char buffer[1 << 16];
    while (const unsigned n = in.ReadBlock(buffer, sizeof buffer)) text.append(buffer, n);
    unsigned stored = 0, lineNumber = 0;
    std::size_t at = 0;
    auto bad = [&] {
        throw CZtMappedDataTableException(
            kErrDataTable, CUniStr(("Invalid dump line " + std::to_string(lineNumber)).c_str()),
            "mappeddatatable", __LINE__);
    };
    while (at < text.size()) {
        std::size_t end = text.find('\n', at);
        if (end == std::string::npos) end = text.size();
        std::string_view line(text.data() + at, end - at);
        at = end + 1;
        ++lineNumber;
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        if (lineNumber == 1) {
            if (line != kDumpHeader) bad();
            continue;
        }
        if (line.empty()) continue;
        const std::size_t tab = line.find('\t');
        CUniStr key, value;
        if (tab == std::string_view::npos || !UnescapeField(line.substr(0, tab), key) ||
            !UnescapeField(line.substr(tab + 1), value))
            bad();
        if (!m_rep) return stored;
        m_rep->SetCUniStrRecord(key.c_str(), value);
        ++stored;
    }
    if (lineNumber == 0) {
        lineNumber = 1;  // an empty file lacks the first line
        bad();
    }
    return stored;
}

void CUniStrDB::ForceReorganization(unsigned int size, unsigned char keepCounters) const {
    if (m_rep) m_rep->ForceReorganization(size, keepCounters);
}

CUniStr CUniStrDB::GetFileName() const {
    return m_rep ? m_rep->GetTableFileName() : CUniStr();
}

}  // namespace ZtBase
