// CUniStrDB: a persistent dictionary from hierarchical 16-bit text keys to 16-bit text values, kept in one
// mapped data table. Copies of the handle share the open table.
//
// Keys are segments separated by '/' (kUniStrDBSeparator); a backslash takes the next character literally.
//
// The dump (Dump, and what Load reads back) is UTF-8 text: the line "ZtDbDump 1", then one line per record
// with data, the key, a tab and the value. In both fields a backslash, tab, line feed and carriage return
// are written \\, \t, \n and \r; keys keep the escapes of the key language besides ("a\/b" is the one
// segment "a/b"). A record holding the empty text is a line that ends after the tab.
#pragma once

#include "ztbase/base/arrays.h"
#include "ztbase/base/handle.h"
#include "ztbase/datatable/mapped_table.h"
#include "ztbase/files/xfile.h"
#include "ztbase/platform/export.h"
#include "ztbase/strings/unistr.h"

namespace ZtBase {

inline constexpr unsigned short kUniStrDBSeparator = '/';

// The data of every record: a count and that many UTF-16 units.
struct CUniStrStruct {
    unsigned count;
    unsigned short chars[1];
};

// Dump options.
enum : unsigned {
    kDumpSorted = 1,    // keys in code-unit order instead of the table's order
    kDumpNoHeader = 2,  // the records' lines only
};

class ZTBASE_API CUniStrDBRep : public CRepBase, public ZtMappedDataTable<CUniStrStruct> {
public:
    CUniStrDBRep(const CUniStr& fileName, unsigned char readOnly,
                 unsigned short separator = kUniStrDBSeparator);

    // The key's text into value: 0 (value unchanged) for no such key, a record without data, or a table
    // error.
    unsigned char GetCUniStrRecord(const unsigned short* key, CUniStr& value);
    unsigned char SetCUniStrRecord(const unsigned short* key, const CUniStr& value);
};

class ZTBASE_API CUniStrDB : public ZtHandle<CUniStrDBRep> {
public:
    CUniStrDB() noexcept = default;

    // Opens an existing table file (a writable open of a missing one makes it). Table errors are raised.
    unsigned char Open(const CUniStr& fileName, unsigned char readOnly);
    // A new, empty, writable table; an existing file of that name is erased first (0 when it cannot be).
    unsigned char Create(const CUniStr& fileName);

    unsigned char GetRecord(const unsigned short* key, CUniStr& value) const;
    unsigned char SetRecord(const unsigned short* key, const CUniStr& value) const;
    // Removes the key's record and every record under it; 0 when there was none.
    unsigned char DeleteCUniStrKey(CUniStr key) const;
    // 1 when a record with data lies at or under the key.
    unsigned char HasKey(const CUniStr& key) const;
    // The segments of the level below the key (of the root for the empty key), in code-unit order.
    ZtRefArray<CUniStr> GetSubKeys(const CUniStr& key) const;

    // The dump of every record (see above); displayOption combines kDumpSorted and kDumpNoHeader.
    void Dump(CXFile& out, unsigned displayOption = 0) const;
    // The records at or under prefix: their keys, one per line, to keys and their values to values (line n
    // of one belongs to line n of the other), escaped as in the dump; lastKey receives the last key written
    // (empty when none). displayOption: kDumpSorted.
    void DumpTable(CXFile& keys, CXFile& values, CUniStr& prefix, CUniStr& lastKey,
                   unsigned displayOption = 0) const;
    // Stores every record of a dump; the records stored. A malformed line raises CZtMappedDataTableException
    // 10501 "Invalid dump line N" (N from 1) after the lines before it were stored.
    unsigned Load(const CXFile& in) const;

    void ForceReorganization(unsigned int size, unsigned char keepCounters) const;
    CUniStr GetFileName() const;
    unsigned char Eq(const CUniStrDB& other) const noexcept { return m_rep == other.m_rep ? 1 : 0; }
};

}  // namespace ZtBase
