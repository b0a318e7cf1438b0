// CXPathManager: splitting path lists, slot placement and reuse, lookups by code, and a random run
// checked against a plain model of the slots.
#include "ztbase/files/path_manager.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

#include "ztbase/files/file_name.h"

using namespace ZtBase;

namespace {

std::string T(const CStr& s) {
    return std::string(s.c_str(), s.Length());
}

std::vector<std::string> Parse(const char* text) {
    ZtRefArray<CStr> list;
    list.push_back(CStr("stale"));
    CXPathManager::ParsePaths(CStr(text), list);
    std::vector<std::string> r;
    for (const CStr& p : list) r.push_back(T(p));
    return r;
}

// The slots as "code:path" entries.
std::vector<std::string> Slots(const CXPathManager& m) {
    std::vector<std::string> r;
    for (int i = 0; i < m.GetSlotCount(); ++i)
        r.push_back(std::to_string(m.GetSlotCode(i)) + ":" + T(m.GetSlotPath(i)));
    return r;
}

using V = std::vector<std::string>;

TEST(CXPathManagerParse, EveryPieceAfterTheFirstKeepsItsSemicolon) {
    EXPECT_EQ(Parse(""), V{});
    EXPECT_EQ(Parse("a"), V{"a"});
    EXPECT_EQ(Parse("C:\\a\\;C:\\b\\"), (V{"C:\\a\\", ";C:\\b\\"}));
    EXPECT_EQ(Parse(";"), V{";"});
    EXPECT_EQ(Parse(";a"), V{";a"});
    EXPECT_EQ(Parse("a;"), (V{"a", ";"}));
    EXPECT_EQ(Parse("a;;b"), (V{"a", ";", ";b"}));
    EXPECT_EQ(Parse("a;b;c"), (V{"a", ";b", ";c"}));
}

TEST(CXPathManagerSlots, SetStoresEveryPieceAndOnlyTheFirstIsADirectory) {
    CXPathManager m;
    m.SetCodePath(2, CStr("C:\\a\\;C:\\b\\"));
    EXPECT_EQ(m.GetCodePathCount(2), 2);
    EXPECT_EQ(T(m.GetCodePath(2)), "C:\\a\\");
    EXPECT_EQ(T(m.GetCodePathIdx(2, 0)), "C:\\a\\");
    EXPECT_EQ(T(m.GetCodePathIdx(2, 1)), ";C:\\b\\");
    EXPECT_TRUE(CXFileName(m.GetCodePathIdx(2, 0)).IsValid());
    EXPECT_FALSE(CXFileName(m.GetCodePathIdx(2, 1)).IsValid());
    // Setting again replaces, in the freed slots.
    m.SetCodePath(2, CStr("/x/"));
    EXPECT_EQ(Slots(m), (V{"2:/x/", "-1:"}));
    m.SetCodePath(2, CStr());
    EXPECT_EQ(m.GetCodePathCount(2), 0);
    EXPECT_EQ(Slots(m), (V{"-1:", "-1:"}));
}

TEST(CXPathManagerSlots, AddStartsAfterTheCodesLastSlot) {
    CXPathManager m;
    m.AddCodePath(1, CStr("a"));
    m.AddCodePath(2, CStr("b"));
    m.AddCodePath(1, CStr("c"));
    EXPECT_EQ(Slots(m), (V{"1:a", "2:b", "1:c"}));
    m.ClearCodePath(2);
    // The free slot lies before code 1's last slot, so code 1 appends; code 3 takes it.
    m.AddCodePath(1, CStr("d"));
    EXPECT_EQ(Slots(m), (V{"1:a", "-1:", "1:c", "1:d"}));
    m.AddCodePath(3, CStr("e"));
    EXPECT_EQ(Slots(m), (V{"1:a", "3:e", "1:c", "1:d"}));
    EXPECT_EQ(m.FindFirstOf(1), 0);
    EXPECT_EQ(m.FindLastOf(1), 3);
    EXPECT_EQ(m.FindFirstOf(9), -1);
    EXPECT_EQ(m.FindLastOf(9), -1);
    // Order of a code's paths is slot order.
    EXPECT_EQ(T(m.GetCodePathIdx(1, 1)), "c");
    EXPECT_EQ(T(m.GetCodePathIdx(1, 2)), "d");
}

TEST(CXPathManagerSlots, LookupsOutOfRangeAreBlank) {
    CXPathManager m;
    EXPECT_TRUE(m.GetCodePath(0).IsNull());
    EXPECT_EQ(m.GetCodePathCount(0), 0);
    EXPECT_EQ(m.FindFirstEmptySlot(0), 0);
    m.AddCodePath(0, CStr("a;b"));
    EXPECT_TRUE(m.GetCodePathIdx(0, 2).IsNull());
    EXPECT_TRUE(m.GetCodePathIdx(0, -1).IsNull());
    EXPECT_TRUE(m.GetCodePathIdx(1, 0).IsNull());
    EXPECT_EQ(m.FindFirstEmptySlot(0), 2);
    EXPECT_EQ(m.FindFirstEmptySlot(7), 2);
    m.ClearCodePath(0);
    EXPECT_EQ(m.FindFirstEmptySlot(0), 0);
    EXPECT_EQ(m.FindFirstEmptySlot(1), 1);
    // Code -1 marks free slots; adding under it changes nothing.
    m.AddCodePath(-1, CStr("z"));
    EXPECT_EQ(Slots(m), (V{"-1:", "-1:"}));
    m.Reset();
    EXPECT_EQ(m.GetSlotCount(), 0);
    EXPECT_EQ(m.FindFirstEmptySlot(0), 0);
}

// A plain model of the slots for the random run below.
struct Model {
    std::vector<std::pair<int, std::string>> slots;

    void Clear(int code) {
        for (auto& s : slots)
            if (s.first == code) s = {-1, ""};
    }
    void Add(int code, const std::vector<std::string>& pieces) {
        std::size_t start = 0;
        for (std::size_t i = 0; i < slots.size(); ++i)
            if (slots[i].first == code) start = i + 1;
        for (const std::string& p : pieces) {
            std::size_t i = start;
            while (i < slots.size() && slots[i].first != -1) ++i;
            if (i == slots.size()) slots.emplace_back();
            slots[i] = {code, p};
            start = i + 1;
        }
    }
    std::vector<std::string> Paths(int code) const {
        std::vector<std::string> r;
        for (const auto& s : slots)
            if (s.first == code) r.push_back(s.second);
        return r;
    }
};

TEST(CXPathManagerSlots, RandomRunAgreesWithAModel) {
    std::mt19937 rng(4242u);  // fixed rng start value
    CXPathManager m;
    Model model;
    int counter = 0;
    for (int step = 0; step < 4000; ++step) {
        const int code = static_cast<int>(rng() % 6);
        const int op = static_cast<int>(rng() % 10);
        if (op < 5) {
            // Pieces without ";" so the model needs no list parsing; the parser has its own test.
            std::vector<std::string> pieces;
            std::string text;
            const int n = static_cast<int>(rng() % 3) + 1;
            for (int k = 0; k < n; ++k) {
                const std::string p = "p" + std::to_string(counter++);
                pieces.push_back(k == 0 ? p : ";" + p);
                text += (k == 0 ? "" : ";") + p;
            }
            if (op < 3) {
                m.AddCodePath(code, CStr(text.c_str()));
            } else {
                m.SetCodePath(code, CStr(text.c_str()));
                model.Clear(code);
            }
            model.Add(code, pieces);
        } else if (op < 8) {
            m.ClearCodePath(code);
            model.Clear(code);
        } else if (op == 8 && step % 97 == 0) {
            m.Reset();
            model.slots.clear();
        }
        ASSERT_EQ(m.GetSlotCount(), static_cast<int>(model.slots.size())) << "step " << step;
        for (int c = 0; c < 6; ++c) {
            const std::vector<std::string> want = model.Paths(c);
            ASSERT_EQ(m.GetCodePathCount(c), static_cast<int>(want.size())) << "step " << step;
            for (std::size_t i = 0; i < want.size(); ++i)
                ASSERT_EQ(T(m.GetCodePathIdx(c, static_cast<int>(i))), want[i]) << "step " << step;
            ASSERT_EQ(T(m.GetCodePath(c)), want.empty() ? "" : want[0]);
        }
    }
}

}  // namespace
