// Data tables beside LMDB on the same 1,000,000 keys and 100-byte values: random lookups (one-segment
// 16-character keys and three-segment keys of the same length; read-only and writable tables, one and two
// threads), and inserting all keys into a new file (LMDB commits every 1,000 inserts). LMDB is opened with
// MDB_NOSYNC, which gives it what a table gives without a flush: every write survives the process, not
// necessarily the machine. The keys are the same 16-bit texts on both sides (LMDB stores their bytes).
#include <benchmark/benchmark.h>
#include <lmdb.h>
#include <unistd.h>
#include <ztbase/datatable/mapped_table.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <vector>

using namespace ZtBase;

namespace {

constexpr unsigned kKeys = 1000000;
constexpr unsigned kValueSize = 100;
constexpr unsigned kCommitEvery = 1000;

enum Shape { kFlat = 0, kThreeSegments = 1 };

std::u16string Widen(const std::string& s) {
    return std::u16string(s.begin(), s.end());
}

// "k" and 15 digits, or "a123/b4567/c8901": 16 characters either way.
const std::vector<std::u16string>& Keys(Shape shape) {
    static std::vector<std::u16string> keys[2];
    static std::once_flag made[2];
    std::call_once(made[shape], [&] {
        std::vector<std::u16string>& k = keys[shape];
        k.reserve(kKeys);
        char text[32];
        for (unsigned i = 0; i < kKeys; ++i) {
            if (shape == kFlat)
                std::snprintf(text, sizeof text, "k%015u", i * 2654435761u % 1000000007u);
            else
                std::snprintf(text, sizeof text, "a%03u/b%04u/c%04u", i % 100, (i / 100) % 100, i / 10000);
            k.push_back(Widen(text));
        }
        std::shuffle(k.begin(), k.end(), std::mt19937(99));
    });
    return keys[shape];
}

// The keys in another random order, for the lookups, side by side in one block (16 units and a zero
// each), so that fetching the next key costs both sides next to nothing.
constexpr unsigned kStride = 17;
struct KeyBlock {
    std::vector<char16_t> units;
    const char16_t* operator[](std::size_t i) const { return units.data() + i * kStride; }
};
const KeyBlock& LookupOrder(Shape shape) {
    static KeyBlock order[2];
    static std::once_flag made[2];
    std::call_once(made[shape], [&] {
        std::vector<std::u16string> keys = Keys(shape);
        std::shuffle(keys.begin(), keys.end(), std::mt19937(7));
        order[shape].units.assign(keys.size() * kStride, u'\0');
        for (std::size_t i = 0; i < keys.size(); ++i)
            std::copy(keys[i].begin(), keys[i].end(), order[shape].units.begin() + i * kStride);
    });
    return order[shape];
}

std::string Value(unsigned i) {
    std::string v(kValueSize, static_cast<char>('a' + i % 26));
    std::memcpy(v.data(), &i, sizeof i);
    return v;
}

std::string Scratch() {
    static const std::string dir = [] {
        const std::string d =
            (std::filesystem::temp_directory_path() / ("ztbase-bench-" + std::to_string(getpid()))).string();
        std::filesystem::create_directories(d);
        return d;
    }();
    return dir;
}
// Removes the scratch directory when the program ends.
struct ScratchCleanup {
    ~ScratchCleanup() {
        std::error_code ignored;
        std::filesystem::remove_all(Scratch(), ignored);
    }
} gCleanup;

const unsigned short* U(const std::u16string& s) {
    return reinterpret_cast<const unsigned short*>(s.c_str());
}

// ---- ours ------------------------------------------------------------------------------------------------

unsigned long long InsertOurs(const std::string& path, Shape shape) {
    std::filesystem::remove(path);
    ZtMappedDataTable<char> table(CUniStr(path.c_str()), 0, 0, '/');
    const std::vector<std::u16string>& keys = Keys(shape);
    for (unsigned i = 0; i < kKeys; ++i) {
        const std::string v = Value(i);
        table.SetRecordBytes(CUniStr(U(keys[i])), v.data(), kValueSize);
    }
    return table.GetStatistics().fileLength;
}

// The table files, made once: one opened writable as the inserts left it, and one reorganised (as a table
// built once and then shipped is) opened read-only.
ZtMappedDataTable<char>& OurTable(Shape shape, bool readOnly) {
    static std::unique_ptr<ZtMappedDataTable<char>> tables[2][2];
    static std::once_flag made[2][2];
    std::call_once(made[shape][readOnly], [&] {
        const std::string path = Scratch() + "/lookup" + std::to_string(shape) + (readOnly ? ".ro" : ".rw");
        InsertOurs(path, shape);
        if (readOnly) ZtMappedDataTable<char>(CUniStr(path.c_str()), 0, 0, '/').ForceReorganization(0, 0);
        tables[shape][readOnly] =
            std::make_unique<ZtMappedDataTable<char>>(CUniStr(path.c_str()), readOnly, 0, '/');
    });
    return *tables[shape][readOnly];
}

void Lookups(benchmark::State& state, Shape shape, bool readOnly) {
    ZtMappedDataTable<char>& table = OurTable(shape, readOnly);
    const KeyBlock& order = LookupOrder(shape);
    std::size_t i = (state.thread_index() * 7919u) % kKeys, found = 0;
    for (auto _ : state) {
        const char* p = table.GetRecordBytes(reinterpret_cast<const unsigned short*>(order[i]));
        if (p) {
            benchmark::DoNotOptimize(p[0]);
            table.ReleaseRecord();
            ++found;
        }
        if (++i == kKeys) i = 0;
    }
    if (found != static_cast<std::size_t>(state.iterations())) state.SkipWithError("a key was not found");
    state.SetItemsProcessed(state.iterations());
}

// ---- LMDB ------------------------------------------------------------------------------------------------

struct Lmdb {
    MDB_env* env = nullptr;
    MDB_dbi dbi = 0;
    explicit Lmdb(const std::string& path) {
        mdb_env_create(&env);
        mdb_env_set_mapsize(env, 8ull << 30);
        if (mdb_env_open(env, path.c_str(), MDB_NOSUBDIR | MDB_NOSYNC | MDB_NOTLS, 0644) != 0) std::abort();
        MDB_txn* txn;
        mdb_txn_begin(env, nullptr, 0, &txn);
        mdb_dbi_open(txn, nullptr, 0, &dbi);
        mdb_txn_commit(txn);
    }
    ~Lmdb() { mdb_env_close(env); }
};

unsigned long long InsertLmdb(const std::string& path, Shape shape) {
    std::filesystem::remove(path);
    std::filesystem::remove(path + "-lock");
    Lmdb db(path);
    const std::vector<std::u16string>& keys = Keys(shape);
    MDB_txn* txn = nullptr;
    for (unsigned i = 0; i < kKeys; ++i) {
        if (!txn) mdb_txn_begin(db.env, nullptr, 0, &txn);
        const std::string v = Value(i);
        MDB_val key{keys[i].size() * 2, const_cast<char16_t*>(keys[i].data())};
        MDB_val value{v.size(), const_cast<char*>(v.data())};
        if (mdb_put(txn, db.dbi, &key, &value, 0) != 0) std::abort();
        if ((i + 1) % kCommitEvery == 0) {
            mdb_txn_commit(txn);
            txn = nullptr;
        }
    }
    if (txn) mdb_txn_commit(txn);
    return std::filesystem::file_size(path);
}

Lmdb& LmdbTable(Shape shape) {
    static std::unique_ptr<Lmdb> tables[2];
    static std::once_flag made[2];
    std::call_once(made[shape], [&] {
        const std::string path = Scratch() + "/lmdb" + std::to_string(shape);
        InsertLmdb(path, shape);
        tables[shape] = std::make_unique<Lmdb>(path);
    });
    return *tables[shape];
}

void LmdbLookups(benchmark::State& state, Shape shape) {
    Lmdb& db = LmdbTable(shape);
    const KeyBlock& order = LookupOrder(shape);
    std::size_t i = (state.thread_index() * 7919u) % kKeys, found = 0;
    MDB_txn* txn;
    mdb_txn_begin(db.env, nullptr, MDB_RDONLY, &txn);
    unsigned inTxn = 0;
    for (auto _ : state) {
        MDB_val key{2 * (kStride - 1), const_cast<char16_t*>(order[i])}, value;
        if (mdb_get(txn, db.dbi, &key, &value) == 0) {
            benchmark::DoNotOptimize(static_cast<const char*>(value.mv_data)[0]);
            ++found;
        }
        if (++inTxn == kCommitEvery) {  // a reader does not keep one snapshot for ever
            mdb_txn_reset(txn);
            mdb_txn_renew(txn);
            inTxn = 0;
        }
        if (++i == kKeys) i = 0;
    }
    mdb_txn_abort(txn);
    if (found != static_cast<std::size_t>(state.iterations())) state.SkipWithError("a key was not found");
    state.SetItemsProcessed(state.iterations());
}

void Inserts(benchmark::State& state, bool ours, Shape shape) {
    unsigned long long bytes = 0;
    for (auto _ : state) {
        const std::string path = Scratch() + (ours ? "/insert.tbl" : "/insert.lmdb");
        bytes = ours ? InsertOurs(path, shape) : InsertLmdb(path, shape);
    }
    state.counters["file_MB"] = static_cast<double>(bytes) / 1e6;
    state.SetItemsProcessed(state.iterations() * kKeys);
}

void Register() {
    for (Shape shape : {kFlat, kThreeSegments}) {
        const std::string s = shape == kFlat ? "Flat" : "ThreeSegments";
        benchmark::RegisterBenchmark(("BM_Lookup" + s + "ReadOnly_Ours").c_str(),
                                     [shape](benchmark::State& st) { Lookups(st, shape, true); })
            ->Threads(1)
            ->Threads(2);
        benchmark::RegisterBenchmark(("BM_Lookup" + s + "ReadOnly_PeerLmdb").c_str(),
                                     [shape](benchmark::State& st) { LmdbLookups(st, shape); })
            ->Threads(1)
            ->Threads(2);
        benchmark::RegisterBenchmark(("BM_Lookup" + s + "Writable_Ours").c_str(),
                                     [shape](benchmark::State& st) { Lookups(st, shape, false); })
            ->Threads(1)
            ->Threads(2);
        benchmark::RegisterBenchmark(("BM_Lookup" + s + "Writable_PeerLmdb").c_str(),
                                     [shape](benchmark::State& st) { LmdbLookups(st, shape); })
            ->Threads(1)
            ->Threads(2);
        benchmark::RegisterBenchmark(("BM_Insert" + s + "_Ours").c_str(),
                                     [shape](benchmark::State& st) { Inserts(st, true, shape); })
            ->Iterations(1)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("BM_Insert" + s + "_PeerLmdb").c_str(),
                                     [shape](benchmark::State& st) { Inserts(st, false, shape); })
            ->Iterations(1)
            ->Unit(benchmark::kMillisecond);
    }
}

const bool gRegistered = (Register(), true);

}  // namespace
