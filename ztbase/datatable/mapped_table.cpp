// The mapped data table: reading, checking, writing by appending, repair after an interrupted write, and
// reorganisation into a new file.
#include "ztbase/datatable/mapped_table.h"

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstring>
#include <stdexcept>
#include <unordered_map>
#include <utility>

#include "ztbase/base/counters.h"
#include "ztbase/base/error_codes.h"
#include "ztbase/base/line_sink.h"
#include "ztbase/errors/exceptions.h"
#include "ztbase/files/file_system.h"
#include "ztbase/platform/internal/platform.h"

namespace ZtBase {

static_assert(std::endian::native == std::endian::little, "the table file is read and written in place");

namespace {

constexpr char kModule[] = "mappeddatatable";
constexpr char kMagic[14] = "DataTableV1.0";
constexpr unsigned kStateAt = 14;  // kWriting while a write is under way
constexpr unsigned kDeadAt = 16;
constexpr unsigned kFileLengthAt = 20;
constexpr unsigned kUsedAt = 24;
constexpr unsigned kRootAt = 28;
constexpr unsigned kHeaderSize = 32;
constexpr unsigned char kWriting = 0xD1;
constexpr unsigned kSubIndexBuckets = 3;
constexpr unsigned kDefaultRootBuckets = 31;
constexpr unsigned kMinimumRecord = 20;
constexpr unsigned kReorganizeAbove = 64 * 1024;
constexpr unsigned long long kLargestFile = 0x7FFFF000ull;
constexpr unsigned kPage = 4096;
constexpr unsigned short kBackslash = 92;

unsigned long long IndexBytes(unsigned long long buckets) {
    return (4 * buckets + 19) & ~7ull;
}
unsigned RoundUp8(unsigned long long n) {
    return static_cast<unsigned>((n + 7) & ~7ull);
}
unsigned HashStep(unsigned h, unsigned short c) {
    h = (h << 4) + c;
    if (const unsigned g = h & 0xF0000000u) h = (g >> 24) ^ (h & 0x0FFFFFFFu);
    return h;
}
// The hash of a key stored in the file (k units, wherever they lie).
unsigned HashStored(const char* units, unsigned k) {
    unsigned h = 0;
    for (unsigned i = 0; i < k; ++i) {
        unsigned short c;
        std::memcpy(&c, units + 2ull * i, 2);
        if (c == 0) break;
        h = HashStep(h, c);
    }
    return h;
}

[[noreturn]] void Throw(unsigned code, const CUniStr& message, unsigned line) {
    throw CZtMappedDataTableException(code, message, kModule, line);
}

void Put32(std::vector<char>& out, unsigned offset, unsigned value) {
    std::memcpy(out.data() + offset, &value, 4);
}

// Holds the read side of a writable table's lock.
class ReadGuard {
public:
    ReadGuard(CZtReadWriteLock& lock, bool readOnly) : m_lock(readOnly ? nullptr : &lock) {
        if (m_lock) m_lock->GetReadLock();
    }
    ReadGuard(const ReadGuard&) = delete;
    ReadGuard& operator=(const ReadGuard&) = delete;
    ~ReadGuard() {
        if (m_lock) m_lock->ReleaseReadLock();
    }

private:
    CZtReadWriteLock* m_lock;
};

}  // namespace

// One key segment with its escapes resolved, and its hash.
struct detail::TableSegment {
    static constexpr unsigned kInline = 64;
    unsigned hash = 0;
    unsigned length = 0;
    unsigned short local[kInline];
    std::vector<unsigned short> spill;

    void Clear() noexcept {
        hash = 0;
        length = 0;
        spill.clear();
    }
    void Push(unsigned short c) {
        if (length < kInline) {
            local[length] = c;
        } else {
            if (spill.empty()) spill.assign(local, local + kInline);
            spill.push_back(c);
        }
        ++length;
        hash = HashStep(hash, c);
    }
    const unsigned short* Units() const noexcept { return length <= kInline ? local : spill.data(); }
};

// ---- hashing --------------------------------------------------------------------------------------

unsigned CMappedTableBase::SimpleHashPJW(const unsigned short* text) noexcept {
    unsigned h = 0;
    if (text)
        for (; *text; ++text) h = HashStep(h, *text);
    return h;
}

void CMappedTableBase::ReadSegment(const unsigned short* key, unsigned& position, Segment& segment) const {
    segment.Clear();
    if (!key || key[position] == m_separator) return;
    for (;;) {
        unsigned short c = key[position];
        if (c == 0) return;
        if (c == kBackslash) {
            c = key[++position];
            if (c == 0) return;
        }
        segment.Push(c);
        ++position;
        if (key[position] == m_separator) return;
    }
}

unsigned CMappedTableBase::HashPJW(const unsigned short* key, unsigned int& position,
                                   CUniStr& segment) const {
    Segment s;
    ReadSegment(key, position, s);
    segment = s.length ? CUniStr(s.Units(), s.length) : CUniStr();
    return s.hash;
}

unsigned CMappedTableBase::FindAPrime(unsigned int n) noexcept {
    unsigned long long p = n | 1u;
    if (p < 9) return static_cast<unsigned>(p);
    for (unsigned long long d = 3; d * d <= p; d += 2) {
        if (p % d == 0) {
            p += 2;
            d = 1;  // the loop's step makes it 3
        }
    }
    return static_cast<unsigned>(p);
}

// ---- opening and closing --------------------------------------------------------------------------

CMappedTableBase::CMappedTableBase(const CUniStr& fileName, unsigned char readOnly, unsigned int size,
                                   unsigned short separator)
    : m_fileName(fileName), m_separator(separator), m_readOnly(readOnly ? 1 : 0) {
    Open(size);
}

CMappedTableBase::CMappedTableBase(const CXFile& file, unsigned short separator)
    : m_fileName(file.GetName()), m_separator(separator), m_readOnly(1) {
    m_file = file;
    m_path = file.GetName();
    Attach();
}

CMappedTableBase::CMappedTableBase(const CMappedTableBase& other)
    : m_fileName(other.m_fileName), m_separator(other.m_separator), m_readOnly(other.m_readOnly) {
    OpenLike(other);
}

CMappedTableBase& CMappedTableBase::operator=(const CMappedTableBase& other) {
    if (this != &other) {
        Close();
        m_fileName = other.m_fileName;
        m_separator = other.m_separator;
        m_readOnly = other.m_readOnly;
        m_interrupted = 0;
        OpenLike(other);
    }
    return *this;
}

// A read-only table shares the other's file, which nothing changes; a writable one opens the file again.
void CMappedTableBase::OpenLike(const CMappedTableBase& other) {
    if (!m_readOnly) return Open(0);
    m_file = other.m_file;
    m_path = other.m_path;
    Attach();
}

CMappedTableBase::~CMappedTableBase() {
    Close();
}

void CMappedTableBase::Open(unsigned size) {
    const CStr name = m_fileName.ConvertTo8Bit();
    if (!gFileSystem.Exist(eOpenProgramDir, name)) {
        if (m_readOnly) Throw(kErrDataTable, CUniStr("file not found:") + m_fileName, __LINE__);
        CreateFile(size);
    }
    if (gFileSystem.Size(eOpenProgramDir, name) < static_cast<int>(kHeaderSize))
        Throw(kErrDataTable, CUniStr("Not a valid data table : ") + m_fileName, __LINE__);
    m_file = gFileSystem.OpenMappedFile(eOpenProgramDir, name, m_readOnly, 0, XF_BINARY);
    m_path = m_file.GetName();
    Attach();
}

void CMappedTableBase::Attach() {
    Remap();
    if (m_length < kHeaderSize || !m_base || std::memcmp(m_base, kMagic, sizeof kMagic) != 0) {
        Close();
        Throw(kErrDataTable, CUniStr("Not a valid data table : ") + m_fileName, __LINE__);
    }
    if (static_cast<unsigned char>(m_base[kStateAt]) == kWriting) {
        m_interrupted = 1;
        if (m_readOnly)
            DebugWriteLn((CUniStr("data table interrupted in the middle of a write, read as it stands : ") +
                          m_fileName)
                             .c_str());
        else
            Repair();
    }
}

// A new file is made under a temporary name and renamed into place, so a kill leaves no half-made table.
void CMappedTableBase::CreateFile(unsigned size) {
    const unsigned buckets = FindAPrime(size ? size : kDefaultRootBuckets);
    const unsigned long long used = kHeaderSize + IndexBytes(buckets);
    const unsigned long long length = (used + kPage + kPage - 1) / kPage * kPage;
    if (length > kLargestFile)
        Throw(kErrDataTable, CUniStr("data table too large : ") + m_fileName, __LINE__);
    const CStr temporary = m_fileName.ConvertTo8Bit() + CStr(".new");
    CXFile file =
        gFileSystem.CreateMappedFile(eOpenProgramDir, temporary, static_cast<int>(length), XF_BINARY);
    const CStr temporaryPath = file.GetName();
    char* base = file.CreateMemoryView(0, 0);
    std::memset(base, 0, static_cast<std::size_t>(length));
    std::memcpy(base, kMagic, sizeof kMagic);
    const unsigned header[3] = {static_cast<unsigned>(length), static_cast<unsigned>(used), kHeaderSize};
    std::memcpy(base + kFileLengthAt, header, sizeof header);
    std::memcpy(base + kHeaderSize, &buckets, 4);
    file.Flush();
    file = CXFile();
    const CStr finalPath(temporaryPath.c_str(), temporaryPath.GetLength() - 4);
    int error = 0;
    if (!platform::ReplacePath(temporaryPath.c_str(), finalPath.c_str(), error))
        Throw(kErrDataTable, CUniStr("Unable to create the data table : ") + m_fileName, __LINE__);
}

void CMappedTableBase::Close() noexcept {
    if (m_file.IsNull()) return;
    if (!m_readOnly) {
        try {
            m_file.Flush();
        } catch (...) {
            // Closing cannot report; the pages are written back by the system anyway.
        }
    }
    m_file = CXFile();
    m_base = nullptr;
    m_length = 0;
}

void CMappedTableBase::Remap() {
    m_length = static_cast<unsigned>(m_file.GetFileLength());
    m_base = m_file.CreateMemoryView(0, 0);
}

void CMappedTableBase::Flush() {
    if (m_readOnly) return;
    CGetWriteLock guard(m_lock);
    m_file.Flush();
}

void CMappedTableBase::RequireWritable() const {
    if (m_readOnly) Throw(kErrDataTableReadOnly, CUniStr("Unable to write to a read-only table"), __LINE__);
    if (m_detached.load(std::memory_order_relaxed))
        Throw(kErrDataTable, CUniStr("The data table was reorganised but not opened again : ") + m_fileName,
              __LINE__);
}

// After a kill the links are whole but record counts, the header's file length and the dead-byte count may
// be behind: they are recomputed from the chains.
void CMappedTableBase::Repair() {
    CGetWriteLock guard(m_lock);
    if (Word(kUsedAt) > m_length)
        Throw(kErrDataTable, CUniStr("Not a valid data table : ") + m_fileName, __LINE__);
    Store(kFileLengthAt, m_length);
    unsigned long long live = 0;
    VisitAll(
        [&](unsigned index, unsigned records) {
            Store(index + 4, records);
            live += IndexBytes(Word(index));
        },
        [&](unsigned record, unsigned) { live += RoundUp8(Word(record + 16)); });
    const unsigned used = Word(kUsedAt);
    Store(kDeadAt, used > kHeaderSize + live ? static_cast<unsigned>(used - kHeaderSize - live) : 0);
    EndWrite();
    m_file.Flush();
}

// ---- reading the mapping ---------------------------------------------------------------------------

unsigned CMappedTableBase::Word(unsigned offset) const noexcept {
    unsigned value = 0;
    if (static_cast<unsigned long long>(offset) + 4 <= m_length) std::memcpy(&value, m_base + offset, 4);
    return value;
}

unsigned CMappedTableBase::Limit() const noexcept {
    const unsigned used = Word(kUsedAt);
    return used < m_length ? used : m_length;
}

unsigned CMappedTableBase::ValidIndex(unsigned offset) const noexcept {
    return offset && Fits(offset, 12) ? offset : 0;
}

unsigned CMappedTableBase::ValidRecord(unsigned offset) const noexcept {
    if (!offset || !Fits(offset, kMinimumRecord)) return 0;
    return Fits(offset + kMinimumRecord, 2ull * Word(offset + 12) + 2) ? offset : 0;
}

unsigned CMappedTableBase::Head(unsigned index, unsigned bucket) const noexcept {
    const unsigned long long slot = index + 12ull + 4ull * bucket;
    return Fits(slot, 4) ? Word(static_cast<unsigned>(slot)) : 0;
}

unsigned CMappedTableBase::DataOffset(unsigned record) const noexcept {
    return static_cast<unsigned>((record + 2ull * Word(record + 12) + 29) & ~7ull);
}

bool CMappedTableBase::HasData(unsigned record) const noexcept {
    if (!record) return false;
    const unsigned long long data = DataOffset(record),
                             end = static_cast<unsigned long long>(record) + Word(record + 16);
    return data < end && end <= Limit();
}

const char* CMappedTableBase::Bytes(unsigned record, unsigned* size) const noexcept {
    if (!HasData(record)) return nullptr;
    const unsigned data = DataOffset(record);
    if (size) *size = record + Word(record + 16) - data;
    return m_base + data;
}

void CMappedTableBase::CountUse(unsigned offset) noexcept {
    if (!m_readOnly && offset % 4 == 0 && Fits(offset, 4))
        LockedIncrement(*reinterpret_cast<unsigned*>(m_base + offset));
}

// Every step of a walk, a record or a bucket passed, stands for at least four bytes of a sound file, so a
// walk that takes more steps has met a loop.
unsigned long long CMappedTableBase::WalkBudget() const noexcept {
    return Limit() / 4 + 2;
}

bool CMappedTableBase::SameKey(unsigned record, const Segment& segment) const noexcept {
    return Word(record + 12) == segment.length &&
           std::memcmp(m_base + record + 20, segment.Units(), 2ull * segment.length) == 0;
}

void CMappedTableBase::AppendEscaped(unsigned record, std::vector<unsigned short>& key) const {
    const unsigned k = Word(record + 12);
    for (unsigned i = 0; i < k; ++i) {
        unsigned short c;
        std::memcpy(&c, m_base + record + 20 + 2ull * i, 2);
        if (c == 0) break;
        if (c == m_separator || c == kBackslash) key.push_back(kBackslash);
        key.push_back(c);
    }
}

unsigned CMappedTableBase::Find(const unsigned short* key, bool countUses, Walk* walk) {
    Segment segment;
    unsigned position = 0, slot = kRootAt;
    unsigned long long budget = WalkBudget();
    for (;;) {
        const unsigned index = ValidIndex(Word(slot));
        if (!index) return 0;
        if (countUses) CountUse(index + 8);
        ReadSegment(key, position, segment);
        const unsigned buckets = Word(index);
        if (buckets == 0) return 0;
        const unsigned long long headSlot = index + 12ull + 4ull * (segment.hash % buckets);
        if (!Fits(headSlot, 4)) return 0;
        unsigned link = static_cast<unsigned>(headSlot);
        unsigned record = Word(link);
        for (;;) {
            if (!record || !ValidRecord(record) || budget-- == 0) return 0;
            if (SameKey(record, segment)) break;
            link = record + 4;
            record = Word(link);
        }
        if (key && key[position] != 0 && key[position] == m_separator) {
            ++position;
            if (countUses) CountUse(record);
            slot = record + 8;
            continue;
        }
        if (walk) *walk = Walk{slot, index, link};
        if (countUses) CountUse(record);
        return record;
    }
}

const char* CMappedTableBase::GetRecordBytes(const unsigned short* key, unsigned* size) {
    if (m_readOnly) return Bytes(Find(key, false), size);
    m_lock.GetReadLock();
    const char* data = nullptr;
    try {
        data = Bytes(Find(key, true), size);
    } catch (...) {
        m_lock.ReleaseReadLock();
        throw;
    }
    if (!data) m_lock.ReleaseReadLock();
    return data;
}

void CMappedTableBase::ReleaseRecord() {
    if (!m_readOnly) m_lock.ReleaseReadLock();
}

char* CMappedTableBase::GetRecordBytesForUpdate(const unsigned short* key, unsigned* size) {
    RequireWritable();
    m_lock.GetWriteLock();
    char* data = nullptr;
    try {
        data = const_cast<char*>(Bytes(Find(key, true), size));
    } catch (...) {
        m_lock.ReleaseWriteLock();
        throw;
    }
    if (!data) m_lock.ReleaseWriteLock();
    return data;
}

void CMappedTableBase::ReleaseRecordForUpdate() {
    if (!m_readOnly) m_lock.ReleaseWriteLock();
}

// ---- walking everything ------------------------------------------------------------------------------

void CMappedTableBase::VisitAll(const std::function<void(unsigned, unsigned)>& onIndex,
                                const std::function<void(unsigned, unsigned)>& onRecord) const {
    VisitFrom(Word(kRootAt), onIndex, onRecord);
}

void CMappedTableBase::VisitFrom(unsigned start, const std::function<void(unsigned, unsigned)>& onIndex,
                                 const std::function<void(unsigned, unsigned)>& onRecord) const {
    unsigned long long budget = WalkBudget();
    std::vector<unsigned> pending{start};
    while (!pending.empty()) {
        const unsigned index = ValidIndex(pending.back());
        pending.pop_back();
        if (!index || budget == 0) continue;
        --budget;
        const unsigned buckets = Word(index);
        if (!Fits(index, IndexBytes(buckets))) continue;
        unsigned records = 0;
        for (unsigned b = 0; b < buckets && budget; ++b) {
            --budget;
            unsigned position = 0;
            for (unsigned r = ValidRecord(Head(index, b)); r && budget;
                 r = ValidRecord(Word(r + 4)), --budget) {
                ++records;
                onRecord(r, position++);
                if (const unsigned sub = Word(r + 8)) pending.push_back(sub);
            }
        }
        onIndex(index, records);
    }
}

unsigned CMappedTableBase::LiveBytes(unsigned index) const {
    unsigned long long live = 0;
    VisitFrom(
        index, [&](unsigned i, unsigned) { live += IndexBytes(Word(i)); },
        [&](unsigned r, unsigned) { live += RoundUp8(Word(r + 16)); });
    return live > 0xFFFFFFFFull ? 0xFFFFFFFFu : static_cast<unsigned>(live);
}

STableStatistics CMappedTableBase::GetStatistics() {
    ReadGuard guard(m_lock, m_readOnly);
    STableStatistics s;
    VisitAll(
        [&](unsigned index, unsigned) {
            ++s.indexes;
            s.buckets += Word(index);
        },
        [&](unsigned record, unsigned position) {
            ++s.entries;
            if (HasData(record)) ++s.records;
            if (position + 1 > s.longestChain) s.longestChain = position + 1;
        });
    s.used = Word(kUsedAt);
    s.fileLength = Word(kFileLengthAt);
    s.dead = Word(kDeadAt);
    return s;
}

unsigned CMappedTableBase::GetNumEntries() {
    return GetStatistics().records;
}

// ---- the consistency check -----------------------------------------------------------------------

unsigned char CMappedTableBase::CheckFile() {
    ReadGuard guard(m_lock, m_readOnly);
    if (Word(kFileLengthAt) != m_length) {
        DebugWriteLn("Invalid file length");
        return 0;
    }
    if (Word(kUsedAt) > Word(kFileLengthAt) || Word(kRootAt) > Word(kUsedAt) ||
        std::memcmp(m_base, kMagic, sizeof kMagic) != 0) {
        DebugWriteLn("Invalid file header.");
        return 0;
    }
    CZtBitSet bits(m_length);
    bits.SetRange(0, kHeaderSize);
    return CheckIndexAt(Word(kRootAt), bits);
}

unsigned char CMappedTableBase::CheckIndex(STableIndex* index, CZtBitSet& bits) {
    ReadGuard guard(m_lock, m_readOnly);
    const char* p = reinterpret_cast<const char*>(index);
    if (p < m_base || p >= m_base + m_length) {
        DebugWriteLn("Invalid index");
        return 0;
    }
    return CheckIndexAt(static_cast<unsigned>(p - m_base), bits);
}

unsigned char CMappedTableBase::CheckIndexAt(unsigned start, CZtBitSet& bits) {
    struct Frame {
        unsigned index, buckets, bucket, record, count;
    };
    const unsigned used = Word(kUsedAt);
    auto fail = [](const char* message) {
        DebugWriteLn(message);
        return static_cast<unsigned char>(0);
    };
    std::vector<Frame> stack;
    // Checks an index's place and bytes and makes it the one being walked.
    auto enter = [&](unsigned index) -> const char* {
        if (index + 12ull > used) return "Invalid index";
        const unsigned buckets = Word(index);
        if (index + IndexBytes(buckets) > used) return "Invalid index";
        if (bits.SetRange(index, IndexBytes(buckets))) return "table overwrite error";
        if (buckets == 0 && Word(index + 4) != 0) return "entry count mismatch";
        stack.push_back(Frame{index, buckets, 0, 0, 0});
        return nullptr;
    };
    if (const char* problem = enter(start)) return fail(problem);
    while (!stack.empty()) {
        Frame& f = stack.back();
        unsigned record =
            f.record ? Word(f.record + 4) : (f.bucket < f.buckets ? Head(f.index, f.bucket) : 0);
        while (!record && f.bucket < f.buckets) {
            if (++f.bucket < f.buckets) record = Head(f.index, f.bucket);
        }
        if (!record) {
            if (f.count != Word(f.index + 4)) return fail("entry count mismatch");
            stack.pop_back();
            continue;
        }
        if (record > used) return fail("Invalid record offset");
        const unsigned long long length = record + kMinimumRecord <= used ? Word(record + 16) : ~0ull;
        if (record + length > used) return fail("Invalid record length");
        if (length < kMinimumRecord + 2ull * Word(record + 12) + 2) return fail("Invalid record length");
        if (bits.SetRange(record, length)) return fail("table overwrite error");
        f.record = record;
        ++f.count;
        if (const unsigned sub = Word(record + 8))
            if (const char* problem = enter(sub)) return fail(problem);
    }
    return 1;
}

// ---- writing ----------------------------------------------------------------------------------------

// A write starts only on a sound header: appending past a wrong end of used space would overwrite data.
void CMappedTableBase::BeginWrite() {
    if (Word(kUsedAt) > m_length || Word(kRootAt) > Word(kUsedAt) || Word(kUsedAt) < kHeaderSize)
        Throw(kErrDataTable, CUniStr("Not a valid data table : ") + m_fileName, __LINE__);
    m_base[kStateAt] = static_cast<char>(kWriting);
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

void CMappedTableBase::EndWrite() {
    std::atomic_signal_fence(std::memory_order_seq_cst);
    m_base[kStateAt] = 0;
}

void CMappedTableBase::Store(unsigned offset, unsigned value) noexcept {
    std::atomic_signal_fence(std::memory_order_seq_cst);
    if (offset % 4 == 0)
        std::atomic_ref<unsigned>(*reinterpret_cast<unsigned*>(m_base + offset))
            .store(value, std::memory_order_release);
    else
        std::memcpy(m_base + offset, &value, 4);
    std::atomic_signal_fence(std::memory_order_seq_cst);
}

unsigned CMappedTableBase::Allocate(unsigned bytes) {
    const unsigned start = RoundUp8(Word(kUsedAt));
    const unsigned long long end = static_cast<unsigned long long>(start) + RoundUp8(bytes);
    if (end > m_length) {
        unsigned long long length = 2ull * m_length;
        if (length < end) length = (end + kPage - 1) / kPage * kPage;
        if (length > kLargestFile) length = kLargestFile;
        if (end > length) Throw(kErrDataTable, CUniStr("data table too large : ") + m_fileName, __LINE__);
        m_file.SetFileLength(static_cast<unsigned>(length));
        Remap();
        Store(kFileLengthAt, m_length);
    }
    return start;
}

void CMappedTableBase::Commit(unsigned end) noexcept {
    Store(kUsedAt, end);
}

unsigned CMappedTableBase::WriteIndex(unsigned buckets) {
    const unsigned long long bytes = IndexBytes(buckets);
    if (bytes > kLargestFile) Throw(kErrDataTable, CUniStr("data table too large : ") + m_fileName, __LINE__);
    const unsigned at = Allocate(static_cast<unsigned>(bytes));
    std::memset(m_base + at, 0, bytes);
    std::memcpy(m_base + at, &buckets, 4);
    Commit(at + static_cast<unsigned>(bytes));
    return at;
}

unsigned CMappedTableBase::WriteRecord(const Segment& segment, const void* data, unsigned size, unsigned next,
                                       unsigned subIndex, unsigned uses) {
    const unsigned dataAt = (2 * segment.length + 29) & ~7u;  // from the record's start, which is 8-aligned
    const unsigned long long length = static_cast<unsigned long long>(dataAt) + size;
    if (length > kLargestFile)
        Throw(kErrDataTable, CUniStr("data table too large : ") + m_fileName, __LINE__);
    const unsigned at = Allocate(static_cast<unsigned>(length));
    char* p = m_base + at;
    std::memset(p, 0, RoundUp8(length));
    const unsigned words[5] = {uses, next, subIndex, segment.length, static_cast<unsigned>(length)};
    std::memcpy(p, words, sizeof words);
    std::memcpy(p + 20, segment.Units(), 2ull * segment.length);
    if (size) std::memcpy(p + dataAt, data, size);
    Commit(at + RoundUp8(length));
    return at;
}

// Links a record written with the bucket's head as its next into the index, then grows the index when its
// chains have become long.
void CMappedTableBase::AddToIndex(unsigned slot, unsigned index, const Segment& segment, unsigned record) {
    const unsigned buckets = Word(index);
    Store(index + 12 + 4 * (segment.hash % buckets), record);
    const unsigned records = Word(index + 4) + 1;
    Store(index + 4, records);
    if (records > buckets && IndexBytes(4ull * records) < kLargestFile / 4) GrowIndex(slot, index);
}

// A larger index holding copies of the old one's records is written in free space and replaces it with the
// one store to the word that points at it. An index grows when it holds more records than buckets, to four
// buckets a record; the copies of a chain's records are written side by side.
void CMappedTableBase::GrowIndex(unsigned slot, unsigned index) {
    std::vector<unsigned> records;
    unsigned long long dead = IndexBytes(Word(index)), budget = WalkBudget();
    for (unsigned b = 0; b < Word(index); ++b)
        for (unsigned r = ValidRecord(Head(index, b)); r && budget; r = ValidRecord(Word(r + 4)), --budget)
            records.push_back(r);
    const unsigned buckets = FindAPrime(static_cast<unsigned>(4 * records.size()));
    SortByBucket(records, buckets);
    const unsigned grown = WriteIndex(buckets);
    for (const unsigned r : records) {
        const unsigned length = Word(r + 16);
        dead += RoundUp8(length);
        const unsigned copy = Allocate(length);
        std::memmove(m_base + copy, m_base + r, length);
        std::memset(m_base + copy + length, 0, RoundUp8(length) - length);
        const unsigned headSlot =
            grown + 12 + 4 * (HashStored(m_base + copy + 20, Word(copy + 12)) % buckets);
        std::memcpy(m_base + copy + 4, m_base + headSlot, 4);
        std::memcpy(m_base + headSlot, &copy, 4);
        Commit(copy + RoundUp8(length));
    }
    const unsigned counts[2] = {static_cast<unsigned>(records.size()), Word(index + 8)};
    std::memcpy(m_base + grown + 4, counts, sizeof counts);
    Store(slot, grown);
    AddDead(dead);
}

void CMappedTableBase::SortByBucket(std::vector<unsigned>& records, unsigned buckets) const {
    std::vector<std::pair<unsigned, unsigned>> keyed;
    keyed.reserve(records.size());
    for (const unsigned r : records)
        keyed.emplace_back(HashStored(m_base + r + 20, Word(r + 12)) % buckets, r);
    std::stable_sort(keyed.begin(), keyed.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    for (std::size_t i = 0; i < keyed.size(); ++i) records[i] = keyed[i].second;
}

void CMappedTableBase::AddDead(unsigned long long bytes) noexcept {
    const unsigned long long dead = Word(kDeadAt) + bytes;
    Store(kDeadAt, dead > 0xFFFFFFFFull ? 0xFFFFFFFFu : static_cast<unsigned>(dead));
}

unsigned char CMappedTableBase::SetRecordBytes(const CUniStr& key, const void* data, unsigned size) {
    RequireWritable();
    {
        CGetWriteLock guard(m_lock);
        BeginWrite();
        const unsigned short* k = key.c_str();
        Segment segment;
        unsigned position = 0, slot = kRootAt;
        for (;;) {
            const unsigned index = ValidIndex(Word(slot));
            if (!index || Word(index) == 0 || !Fits(index, IndexBytes(Word(index))))
                Throw(kErrDataTable, CUniStr("Not a valid data table : ") + m_fileName, __LINE__);
            unsigned start = position;
            ReadSegment(k, position, segment);
            const bool last = !(k[position] != 0 && k[position] == m_separator);
            const unsigned headSlot = index + 12 + 4 * (segment.hash % Word(index));
            unsigned link = headSlot, record = Word(link);
            unsigned long long budget = WalkBudget();
            while (record && !SameKey(record, segment)) {
                if (!ValidRecord(record) || budget-- == 0)
                    Throw(kErrDataTable, CUniStr("Not a valid data table : ") + m_fileName, __LINE__);
                link = record + 4;
                record = Word(link);
            }
            if (record && !ValidRecord(record))
                Throw(kErrDataTable, CUniStr("Not a valid data table : ") + m_fileName, __LINE__);
            if (last) {
                if (!record) {
                    AddToIndex(slot, index, segment, WriteRecord(segment, data, size, Word(headSlot), 0, 0));
                } else {
                    const unsigned fresh =
                        WriteRecord(segment, data, size, Word(record + 4), Word(record + 8), Word(record));
                    Store(link, fresh);
                    AddDead(RoundUp8(Word(record + 16)));
                }
                break;
            }
            if (!record) {
                const unsigned sub = WriteIndex(kSubIndexBuckets);
                AddToIndex(slot, index, segment, WriteRecord(segment, nullptr, 0, Word(headSlot), sub, 0));
                position = start;  // the index may have grown: find the record again
                continue;
            }
            if (!ValidIndex(Word(record + 8))) Store(record + 8, WriteIndex(kSubIndexBuckets));
            slot = record + 8;
            ++position;
        }
        EndWrite();
    }
    ReorganizeIfWorthIt();
    return 1;
}

unsigned char CMappedTableBase::Delete(const CUniStr& key) {
    RequireWritable();
    {
        CGetWriteLock guard(m_lock);
        Walk walk;
        const unsigned record = Find(key.c_str(), false, &walk);
        if (!record) return 0;
        BeginWrite();
        const unsigned sub = Word(record + 8);
        const unsigned long long dead = RoundUp8(Word(record + 16)) + (ValidIndex(sub) ? LiveBytes(sub) : 0);
        Store(walk.link, Word(record + 4));
        const unsigned records = Word(walk.index + 4);
        Store(walk.index + 4, records ? records - 1 : 0);
        AddDead(dead);
        EndWrite();
    }
    ReorganizeIfWorthIt();
    return 1;
}

// ---- reorganisation ------------------------------------------------------------------------------

unsigned char CMappedTableBase::ReorganizeDataBase() {
    RequireWritable();
    // The header is read under the lock: another writer's reorganisation may be replacing the mapping.
    CGetWriteLock guard(m_lock);
    const unsigned used = Word(kUsedAt), dead = Word(kDeadAt);
    const unsigned live = used > kHeaderSize + dead ? used - kHeaderSize - dead : 0;
    if (dead <= live || dead <= kReorganizeAbove) return 0;
    ForceReorganization(0, 1);
    return 1;
}

void CMappedTableBase::ReorganizeIfWorthIt() {
    ReorganizeDataBase();
}

void CMappedTableBase::ForceReorganization(unsigned int size, unsigned char keepCounters) {
    RequireWritable();
    CGetWriteLock guard(m_lock);
    Rebuild(size, keepCounters != 0);
}

// Copies the live records under index into out; the new index's offset, or 0 when nothing under it lives
// (the root is always written).
unsigned CMappedTableBase::BuildIndex(std::vector<char>& out, unsigned index, unsigned minimumBuckets,
                                      bool keepCounters, bool root) const {
    std::vector<unsigned> kept;
    std::unordered_map<unsigned, unsigned> subOf;
    const unsigned buckets = Word(index);
    for (unsigned b = 0; b < buckets; ++b) {
        for (unsigned r = Head(index, b); r; r = Word(r + 4)) {
            const unsigned sub = Word(r + 8) ? BuildIndex(out, Word(r + 8), 0, keepCounters, false) : 0;
            if (!HasData(r) && !sub) continue;
            kept.push_back(r);
            if (sub) subOf[r] = sub;
        }
    }
    if (kept.empty() && !root) return 0;
    unsigned newBuckets = FindAPrime(static_cast<unsigned>(2 * kept.size()));
    if (newBuckets < minimumBuckets) newBuckets = minimumBuckets;
    SortByBucket(kept, newBuckets);
    const unsigned at = static_cast<unsigned>(out.size());
    if (out.size() + IndexBytes(newBuckets) > kLargestFile) throw std::length_error("table");
    out.resize(out.size() + IndexBytes(newBuckets), 0);
    Put32(out, at, newBuckets);
    Put32(out, at + 4, static_cast<unsigned>(kept.size()));
    Put32(out, at + 8, keepCounters ? Word(index + 8) : 0);
    for (const unsigned r : kept) {
        const unsigned k = Word(r + 12);
        const auto sub = subOf.find(r);
        const unsigned dataAt = (2 * k + 29) & ~7u;
        const unsigned dataSize = HasData(r) ? r + Word(r + 16) - DataOffset(r) : 0;
        const unsigned length = dataAt + dataSize;
        const unsigned copy = static_cast<unsigned>(out.size());
        if (out.size() + RoundUp8(length) > kLargestFile) throw std::length_error("table");
        out.resize(out.size() + RoundUp8(length), 0);
        const unsigned headSlot = at + 12 + 4 * (HashStored(m_base + r + 20, k) % newBuckets);
        unsigned head;
        std::memcpy(&head, out.data() + headSlot, 4);
        const unsigned words[5] = {keepCounters ? Word(r) : 0, head, sub == subOf.end() ? 0 : sub->second, k,
                                   length};
        std::memcpy(out.data() + copy, words, sizeof words);
        std::memcpy(out.data() + copy + 20, m_base + r + 20, 2ull * k);
        if (dataSize) std::memcpy(out.data() + copy + dataAt, m_base + DataOffset(r), dataSize);
        Put32(out, headSlot, copy);
    }
    return at;
}

// The new file is complete on disk before it replaces the old one, so a kill at any point leaves one of
// the two whole.
void CMappedTableBase::Rebuild(unsigned size, bool keepCounters) {
    auto failed = [&](unsigned line) { Throw(kErrDataTable, CUniStr("Reorg failed!"), line); };
    if (!CheckFile()) failed(__LINE__);
    std::vector<char> image(kHeaderSize, 0);
    unsigned root = 0;
    // Running out of memory is told as such; the old file stays in place either way.
    try {
        root = BuildIndex(image, Word(kRootAt), FindAPrime(size), keepCounters, true);
    } catch (const std::bad_alloc&) {
        throw CMemoryError();
    } catch (const std::exception&) {
        failed(__LINE__);
    }
    const unsigned used = static_cast<unsigned>(image.size());
    unsigned long long length = (used + used / 2ull + kPage + kPage - 1) / kPage * kPage;
    if (length > kLargestFile) length = kLargestFile;
    std::memcpy(image.data(), kMagic, sizeof kMagic);
    Put32(image, kFileLengthAt, static_cast<unsigned>(length));
    Put32(image, kUsedAt, used);
    Put32(image, kRootAt, root);
    const CStr temporary = m_path + CStr(".reorg");
    try {
        CXFile file =
            gFileSystem.CreateMappedFile(eOpenProgramDir, temporary, static_cast<int>(length), XF_BINARY);
        char* base = file.CreateMemoryView(0, 0);
        std::memcpy(base, image.data(), used);
        std::memset(base + used, 0, length - used);
        file.Flush();
    } catch (const CZtException& e) {
        int error = 0;
        platform::DeletePath(temporary.c_str(), error);
        if (dynamic_cast<const CMemoryError*>(&e)) throw CMemoryError();
        failed(__LINE__);
    }
    // Where a mapped file cannot be replaced, the table lets go of its view first and, should the
    // replacement fail, maps the old file again.
    if (platform::kMappedFilesStayPut) Unmap();
    int error = 0;
    if (!platform::ReplacePath(temporary.c_str(), m_path.c_str(), error)) {
        platform::DeletePath(temporary.c_str(), error);
        if (platform::kMappedFilesStayPut) Reopen();
        failed(__LINE__);
    }
    Reopen();
}

void CMappedTableBase::Unmap() {
    m_file = CXFile();
    m_base = nullptr;
    m_length = 0;
}

// The old mapping goes only once the new file is open: a failure here (memory, a full table of mappings)
// leaves the table reading the records it had (none, where it had to let go of them first), detached from
// the file now in place.
void CMappedTableBase::Reopen() {
    CXFile reopened;
    try {
        reopened = gFileSystem.OpenMappedFile(eOpenProgramDir, m_path, 0, 0, XF_BINARY);
    } catch (const CZtException&) {
        m_detached.store(true, std::memory_order_relaxed);
        throw;
    }
    m_file = std::move(reopened);
    Remap();
}

// ---- iterators ------------------------------------------------------------------------------------

CTableIterator::CTableIterator(CMappedTableBase& table, const unsigned short* prefix, Access access,
                               bool atEnd)
    : m_table(&table), m_access(access) {
    Lock();
    if (atEnd) return;
    m_budget = table.WalkBudget();
    if (!prefix || !prefix[0]) {
        if (const unsigned root = table.ValidIndex(table.Word(kRootAt)))
            m_stack.push_back(Frame{root, 0, 0, 0});
    } else if (const unsigned record = table.Find(prefix, false)) {
        // The prefix's own key, written back in the escaped form.
        CMappedTableBase::Segment segment;
        unsigned position = 0;
        for (;;) {
            table.ReadSegment(prefix, position, segment);
            for (unsigned i = 0; i < segment.length; ++i) {
                const unsigned short c = segment.Units()[i];
                if (c == table.m_separator || c == kBackslash) m_prefixKey.push_back(kBackslash);
                m_prefixKey.push_back(c);
            }
            if (!(prefix[position] != 0 && prefix[position] == table.m_separator)) break;
            m_prefixKey.push_back(table.m_separator);
            ++position;
        }
        m_stack.push_back(Frame{0, record, 0, 0});
    }
    Advance(false);
}

CTableIterator::CTableIterator(const CTableIterator& other)
    : m_table(other.m_table),
      m_access(other.m_access),
      m_record(other.m_record),
      m_stack(other.m_stack),
      m_key(other.m_key),
      m_prefixKey(other.m_prefixKey),
      m_budget(other.m_budget) {
    Lock();
}

CTableIterator& CTableIterator::operator=(const CTableIterator& other) {
    if (this != &other) {
        CTableIterator copy(other);
        Unlock();
        m_table = std::exchange(copy.m_table, nullptr);
        m_access = copy.m_access;
        m_record = copy.m_record;
        m_stack = std::move(copy.m_stack);
        m_key = std::move(copy.m_key);
        m_prefixKey = std::move(copy.m_prefixKey);
        m_budget = copy.m_budget;
    }
    return *this;
}

CTableIterator::~CTableIterator() {
    Unlock();
}

void CTableIterator::Lock() {
    if (!m_table || m_table->m_readOnly) return;
    if (m_access == Access::kRead)
        m_table->m_lock.GetReadLock();
    else
        m_table->m_lock.GetWriteLock();
}

void CTableIterator::Unlock() noexcept {
    if (!m_table || m_table->m_readOnly) return;
    if (m_access == Access::kRead)
        m_table->m_lock.ReleaseReadLock();
    else
        m_table->m_lock.ReleaseWriteLock();
}

unsigned CTableIterator::NextInFrame(Frame& f) {
    const CMappedTableBase& t = *m_table;
    if (f.index == 0) {  // the prefix's record alone
        if (f.record) return 0;
        f.record = f.bucket;
        return f.record;
    }
    const unsigned buckets = t.Word(f.index);
    unsigned r = f.record ? t.ValidRecord(t.Word(f.record + 4))
                          : (f.bucket < buckets ? t.ValidRecord(t.Head(f.index, f.bucket)) : 0);
    while (!r) {
        if (f.bucket + 1 >= buckets || m_budget == 0) {
            f.record = 0;
            f.bucket = buckets;
            return 0;
        }
        --m_budget;
        r = t.ValidRecord(t.Head(f.index, ++f.bucket));
    }
    f.record = r;
    return r;
}

void CTableIterator::Advance(bool descend) {
    const CMappedTableBase& t = *m_table;
    while (!m_stack.empty()) {
        if (descend && m_stack.back().record) {
            descend = false;
            if (const unsigned sub = t.ValidIndex(t.Word(m_stack.back().record + 8))) {
                m_key.push_back(t.m_separator);
                m_stack.push_back(Frame{sub, 0, 0, static_cast<unsigned>(m_key.size())});
                continue;
            }
        }
        const unsigned r = NextInFrame(m_stack.back());
        if (!r) {
            m_stack.pop_back();
            continue;
        }
        if (m_budget == 0) break;
        --m_budget;
        const Frame& f = m_stack.back();
        if (f.index == 0) {
            m_key = m_prefixKey;
        } else {
            m_key.resize(f.keyLength);
            t.AppendEscaped(r, m_key);
        }
        if (t.HasData(r)) {
            m_record = r;
            return;
        }
        descend = true;
    }
    m_stack.clear();
    m_record = 0;
}

CTableIterator& CTableIterator::operator++() {
    if (m_record) Advance(true);
    return *this;
}

CUniStr CTableIterator::GetKey() const {
    return m_key.empty() ? CUniStr() : CUniStr(m_key.data(), static_cast<unsigned>(m_key.size()));
}

std::vector<CUniStr> CTableIterator::GetSegments() const {
    std::vector<CUniStr> segments;
    if (!m_table) return segments;
    std::vector<unsigned short> key(m_key);
    key.push_back(0);
    unsigned position = 0;
    for (;;) {
        CUniStr segment;
        m_table->HashPJW(key.data(), position, segment);
        segments.push_back(segment);
        if (!(key[position] != 0 && key[position] == m_table->m_separator)) break;
        ++position;
    }
    return segments;
}

const char* CTableIterator::GetBytes() const noexcept {
    return m_record ? m_table->Bytes(m_record, nullptr) : nullptr;
}

unsigned CTableIterator::GetSize() const noexcept {
    unsigned size = 0;
    if (m_record) m_table->Bytes(m_record, &size);
    return size;
}

}  // namespace ZtBase
