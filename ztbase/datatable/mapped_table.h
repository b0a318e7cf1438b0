// ZtMappedDataTable<T>: a persistent dictionary in one file mapped into memory whole. Keys are 16-bit
// texts made of segments between separator characters; each segment is looked up in a hash table of its
// own (an index) under the record of the segment before it. A backslash takes the next character
// literally, so "a\/b" is the one segment "a/b".
//
// The file (all integers 32-bit little-endian, offsets from the start of the file):
//   header   0 "DataTableV1.0\0", 14 state byte (0xD1 while a write is under way), 16 dead bytes,
//            20 file length, 24 end of used space, 28 root index
//   index    buckets n, records, use counter, n chain heads; (4n + 19) & ~7 bytes
//   record   use counter, next, sub-index, key length k, record length, k key units and a zero; the data
//            from (offset + 2k + 29) & ~7 to offset + record length (none when that is empty)
//
// Writing appends: a new or replaced record, or a grown index with copies of its records, is written in the
// free space after the end of used space, the end of used space is moved over it, and then one aligned
// store links it in. A process killed at any instant therefore leaves every link pointing at complete
// data; what it can leave stale (an index's record count, the file length in the header, the dead-byte
// count) is marked by the state byte and repaired by the next writable open. The file doubles when the
// free space runs out. Dead space (replaced and deleted records, outgrown indexes) is reclaimed by a
// reorganisation, which writes a complete new file and renames it over the old one.
//
// Readers of a writable table hold the read side of the table's lock from the lookup to its release;
// writers and update access hold the write side. A read-only table takes no lock and changes no counter.
// Every offset read from the file is checked against the end of used space before it is followed, and a
// walk longer than the file could hold ends, so a damaged file gives null results, never a crash.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "ztbase/base/bit_set.h"
#include "ztbase/files/xfile.h"
#include "ztbase/platform/export.h"
#include "ztbase/process/locks.h"
#include "ztbase/strings/unistr.h"

namespace ZtBase {

namespace detail {
struct TableSegment;
}

struct STableIndex {
    unsigned buckets;
    unsigned records;
    unsigned uses;
    unsigned heads[1];
};

struct STableRecord {
    unsigned uses;
    unsigned next;
    unsigned subIndex;
    unsigned keyLength;
    unsigned length;
    unsigned short key[1];
};

// What `zt db stats` prints.
struct STableStatistics {
    unsigned records = 0;  // records with data
    unsigned entries = 0;  // every record, those that only lead to a sub-index too
    unsigned indexes = 0;
    unsigned long long buckets = 0;
    unsigned longestChain = 0;
    unsigned used = 0;
    unsigned fileLength = 0;
    unsigned dead = 0;
};

class CMappedTableBase;

// The records that carry data at or under a key, depth first: a record, then the records under it; the
// buckets of an index in order and each chain from its head. An iterator of a writable table holds the
// table's read lock (the write lock for update access) as long as it lives, so the table must not be written
// through another path meanwhile. Iterators are equal when they stand on the same record; every end is
// equal to every other.
class ZTBASE_API CTableIterator {
public:
    CTableIterator() = default;
    CTableIterator(const CTableIterator& other);
    CTableIterator& operator=(const CTableIterator& other);
    ~CTableIterator();

    CTableIterator& operator++();
    bool operator==(const CTableIterator& other) const noexcept { return m_record == other.m_record; }
    bool operator!=(const CTableIterator& other) const noexcept { return m_record != other.m_record; }
    bool IsEnd() const noexcept { return m_record == 0; }

    // The key that finds the record (separators and backslashes inside segments escaped).
    CUniStr GetKey() const;
    // The key's segments, unescaped.
    std::vector<CUniStr> GetSegments() const;
    const char* GetBytes() const noexcept;
    unsigned GetSize() const noexcept;

protected:
    friend class CMappedTableBase;
    enum class Access : unsigned char { kRead, kUpdate };
    CTableIterator(CMappedTableBase& table, const unsigned short* prefix, Access access, bool atEnd);

private:
    struct Frame {
        unsigned index;   // 0 for the frame that holds only the prefix's record
        unsigned bucket;  // the bucket being walked
        unsigned record;  // the record reached, 0 before the first
        unsigned keyLength;
    };

    void Lock();
    void Unlock() noexcept;
    void Advance(bool descend);
    unsigned NextInFrame(Frame& frame);

    CMappedTableBase* m_table = nullptr;
    Access m_access = Access::kRead;
    unsigned m_record = 0;
    std::vector<Frame> m_stack;
    std::vector<unsigned short> m_key;        // escaped key of m_record
    std::vector<unsigned short> m_prefixKey;  // escaped key of the prefix's record
    unsigned long long m_budget = 0;
};

class ZTBASE_API CMappedTableBase {
public:
    // Opens the table file; a writable table whose file does not exist makes a new one with a root of
    // FindAPrime(size) buckets (31 when size is 0). A read-only open of a missing file raises "file not
    // found:" + name; a file that is not a table "Not a valid data table : " + name (10501). A writable
    // open of a file left in the middle of a write repairs it first; a read-only one writes a debug line
    // saying so and answers from it as it is.
    CMappedTableBase(const CUniStr& fileName, unsigned char readOnly, unsigned int size,
                     unsigned short separator);
    // A read-only table over a file already open (a container's member, a view of memory): the file's
    // block is the table; it raises "Not a valid data table : " + the file's name (10501) when it is not one.
    CMappedTableBase(const CXFile& file, unsigned short separator);
    // A read-only copy shares the file; a writable one opens it again, which the file's sharing refuses while
    // the first is open (as it refuses every second writable open of a table).
    CMappedTableBase(const CMappedTableBase& other);
    CMappedTableBase& operator=(const CMappedTableBase& other);
    // Makes earlier writes durable and closes the file.
    virtual ~CMappedTableBase();

    // ---- lookups ----------------------------------------------------------------------------------
    // The data of the key's record, or null (no such key, or a record without data). On a writable table
    // a non-null result keeps the read lock until ReleaseRecord().
    const char* GetRecordBytes(const unsigned short* key, unsigned* size = nullptr);
    void ReleaseRecord();
    // The same for writing in place: the write lock is held until ReleaseRecordForUpdate(). Read-only
    // tables raise "Unable to write to a read-only table" (10502).
    char* GetRecordBytesForUpdate(const unsigned short* key, unsigned* size = nullptr);
    void ReleaseRecordForUpdate();

    // ---- writing ------------------------------------------------------------------------------------
    // Stores size bytes under the key, making the records of missing leading segments (without data).
    // Replacing writes a new record and links it in place of the old one. Size 0 makes a record without
    // data. Returns 1.
    unsigned char SetRecordBytes(const CUniStr& key, const void* data, unsigned size);
    // Removes the key's record and every record under it; 0 when there is no such key.
    unsigned char Delete(const CUniStr& key);
    // Reorganises when dead space exceeds the live data (and 64 KiB); 1 when it did.
    unsigned char ReorganizeDataBase();
    // Rebuilds the file now: every index gets FindAPrime(2 × records) buckets (the root at least
    // FindAPrime(size)), records without data and without records under them are dropped, and use counters
    // are kept when keepCounters is 1. The new file replaces the old one by a rename; a failure raises
    // "Reorg failed!" (10501) and leaves the old file as it was.
    void ForceReorganization(unsigned int size, unsigned char keepCounters);
    // Writes the mapping's changes and the file to disk and waits for them.
    void Flush();

    // ---- iteration ----------------------------------------------------------------------------------
    CTableIterator GetBegin(const unsigned short* prefix);
    CTableIterator GetEnd(const unsigned short* prefix);

    // ---- checks and facts -------------------------------------------------------------------------
    // Tests every invariant of the file; each failure is written as a debug line and gives 0.
    unsigned char CheckFile();
    // Tests the index and everything under it, marking their bytes in bits (one bit per byte of the file).
    unsigned char CheckIndex(STableIndex* index, CZtBitSet& bits);
    // Records with data in the whole table.
    unsigned GetNumEntries();
    STableStatistics GetStatistics();
    unsigned char IsReadOnly() const noexcept { return m_readOnly; }
    // 1 when the file was opened in the middle of a write (repaired when writable).
    unsigned char WasInterrupted() const noexcept { return m_interrupted; }
    unsigned short GetSeparatorChar() const noexcept { return m_separator; }
    void SetSeparatorChar(unsigned short separator) noexcept { m_separator = separator; }
    const CUniStr& GetTableFileName() const noexcept { return m_fileName; }

    // ---- hashing ------------------------------------------------------------------------------------
    // The hash of a zero-terminated text; 0 for the empty text.
    static unsigned SimpleHashPJW(const unsigned short* text) noexcept;
    // The hash of the segment of key at position; segment receives its text (escapes resolved) and
    // position the place where it ended (the separator or the terminator).
    unsigned HashPJW(const unsigned short* key, unsigned int& position, CUniStr& segment) const;
    // n | 1 when below 9, else the first odd number from there with no odd divisor (1 for 0 and 1).
    static unsigned FindAPrime(unsigned int n) noexcept;

protected:
    // Raises "Unable to write to a read-only table" (10502) on a read-only table.
    void RequireWritable() const;

private:
    friend class CTableIterator;
    using Segment = detail::TableSegment;
    struct Walk {
        unsigned slot = 0;   // the word that points at the index
        unsigned index = 0;  // the index that holds the record
        unsigned link = 0;   // the word that points at the record
    };

    void Open(unsigned size);
    void Attach();  // checks the open file's header
    void OpenLike(const CMappedTableBase& other);
    void CreateFile(unsigned size);
    void Close() noexcept;
    void Remap();
    void Unmap();
    void Reopen();
    void Repair();

    // Reading the mapping, bounded by the end of used space.
    unsigned Limit() const noexcept;
    unsigned Word(unsigned offset) const noexcept;
    bool Fits(unsigned long long offset, unsigned long long length) const noexcept {
        return offset + length <= Limit();
    }
    unsigned ValidIndex(unsigned offset) const noexcept;   // offset, or 0 when its header does not fit
    unsigned ValidRecord(unsigned offset) const noexcept;  // offset, or 0 when its header and key do not fit
    unsigned Head(unsigned index, unsigned bucket) const noexcept;
    unsigned DataOffset(unsigned record) const noexcept;
    bool HasData(unsigned record) const noexcept;
    void CountUse(unsigned offset) noexcept;
    unsigned long long WalkBudget() const noexcept;
    bool SameKey(unsigned record, const Segment& segment) const noexcept;
    void AppendEscaped(unsigned record, std::vector<unsigned short>& key) const;

    // The lookup shared by every read: the key's record or 0.
    unsigned Find(const unsigned short* key, bool countUses, Walk* walk = nullptr);
    const char* Bytes(unsigned record, unsigned* size) const noexcept;

    // Writing.
    void BeginWrite();
    void EndWrite();
    void Store(unsigned offset, unsigned value) noexcept;  // ordered after every earlier store
    unsigned Allocate(unsigned bytes);                     // room at the end of used space
    void Commit(unsigned end) noexcept;                    // the end of used space moved over new bytes
    unsigned WriteIndex(unsigned buckets);
    unsigned WriteRecord(const Segment& segment, const void* data, unsigned size, unsigned next,
                         unsigned subIndex, unsigned uses);
    void AddToIndex(unsigned slot, unsigned index, const Segment& segment, unsigned record);
    void GrowIndex(unsigned slot, unsigned index);
    unsigned LiveBytes(unsigned index) const;
    void AddDead(unsigned long long bytes) noexcept;
    void SortByBucket(std::vector<unsigned>& records, unsigned buckets) const;
    void ReorganizeIfWorthIt();
    void Rebuild(unsigned size, bool keepCounters);
    unsigned BuildIndex(std::vector<char>& out, unsigned index, unsigned minimumBuckets, bool keepCounters,
                        bool root) const;
    // Visits every index (with the records its chains hold) and every record (with its place in its chain),
    // within the walk budget.
    void VisitAll(const std::function<void(unsigned index, unsigned records)>& onIndex,
                  const std::function<void(unsigned record, unsigned chainPosition)>& onRecord) const;
    void VisitFrom(unsigned index, const std::function<void(unsigned, unsigned)>& onIndex,
                   const std::function<void(unsigned, unsigned)>& onRecord) const;
    unsigned char CheckIndexAt(unsigned index, CZtBitSet& bits);
    void ReadSegment(const unsigned short* key, unsigned& position, Segment& segment) const;

    CUniStr m_fileName;
    CStr m_path;  // the file's complete name, once open
    unsigned short m_separator;
    unsigned char m_readOnly;
    unsigned char m_interrupted = 0;
    // A reorganisation replaced the file but could not open the new one: the table still maps the file it
    // had (the same records) and refuses writes, which would go to a file no longer in place.
    std::atomic<bool> m_detached{false};
    CXFile m_file;
    char* m_base = nullptr;
    unsigned m_length = 0;  // bytes mapped
    CZtReadWriteLock m_lock;
};

inline CTableIterator CMappedTableBase::GetBegin(const unsigned short* prefix) {
    return CTableIterator(*this, prefix, CTableIterator::Access::kRead, false);
}
inline CTableIterator CMappedTableBase::GetEnd(const unsigned short* prefix) {
    return CTableIterator(*this, prefix, CTableIterator::Access::kRead, true);
}

// The typed face: records hold a T (of the size given when stored, for T with a variable tail).
template <class T>
class ZtMappedDataTable : public CMappedTableBase {
public:
    ZtMappedDataTable(const CUniStr& fileName, unsigned char readOnly, unsigned int size,
                      unsigned short separator)
        : CMappedTableBase(fileName, readOnly, size, separator) {}
    ZtMappedDataTable(const CXFile& file, unsigned short separator) : CMappedTableBase(file, separator) {}

    const T* GetRecord(const unsigned short* key) { return reinterpret_cast<const T*>(GetRecordBytes(key)); }
    T* GetRecordForUpdate(const unsigned short* key) {
        return reinterpret_cast<T*>(GetRecordBytesForUpdate(key));
    }
    unsigned char SetRecord(const CUniStr& key, const T& data, unsigned size = sizeof(T)) {
        return SetRecordBytes(key, &data, size);
    }

    class CIndexIterator : public CTableIterator {
    public:
        CIndexIterator() = default;
        const T* GetData() const noexcept { return reinterpret_cast<const T*>(GetBytes()); }

    private:
        friend class ZtMappedDataTable;
        CIndexIterator(CMappedTableBase& t, const unsigned short* prefix, bool atEnd)
            : CTableIterator(t, prefix, Access::kRead, atEnd) {}
    };
    class CWritableIndexIterator : public CTableIterator {
    public:
        CWritableIndexIterator() = default;
        T* GetData() const noexcept { return reinterpret_cast<T*>(const_cast<char*>(GetBytes())); }

    private:
        friend class ZtMappedDataTable;
        CWritableIndexIterator(CMappedTableBase& t, const unsigned short* prefix, bool atEnd)
            : CTableIterator(t, prefix, Access::kUpdate, atEnd) {}
    };

    CIndexIterator GetTableBegin(const unsigned short* prefix) {
        return CIndexIterator(*this, prefix, false);
    }
    CIndexIterator GetTableEnd(const unsigned short* prefix) { return CIndexIterator(*this, prefix, true); }
    CWritableIndexIterator GetTableBeginForUpdate(const unsigned short* prefix) {
        RequireWritable();
        return CWritableIndexIterator(*this, prefix, false);
    }
    CWritableIndexIterator GetTableEndForUpdate(const unsigned short* prefix) {
        RequireWritable();
        return CWritableIndexIterator(*this, prefix, true);
    }
};

}  // namespace ZtBase
