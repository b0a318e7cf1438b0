// Blobs as values: the markers they print as, equality of bytes, no order, and a binary form of the kind
// code alone.
#include <gtest/gtest.h>
#include <ztbase/generic/generic_blob.h>

#include "generic_support.h"

using namespace ZtBase;
using namespace generic_support;

namespace {

CGenericBlob BlobOf(const char* bytes, int n) {
    return CGenericBlob(CBlob(bytes, n));
}

TEST(GenericBlob, PrintsAsAMarkerWithItsSize) {
    const CGenericBlob three = BlobOf("abc", 3);
    EXPECT_EQ(Text(three), "#BLOB#");
    EXPECT_EQ(Utf8(three.GetPrettyPrint(5)), "#BLOB 3 #") << "the argument is ignored";
    EXPECT_EQ(Text(CGenericList(three, CGeneric())), "(#BLOB#)");
    EXPECT_EQ(Utf8(CGenericBlob(CBlob()).GetPrettyPrint()), "#BLOB 0 #");
}

TEST(GenericBlob, EqualBytesAreEqualNothingIsOrderedAndOnlyTheCodeIsStored) {
    const CGeneric a = BlobOf("abc", 3), b = BlobOf("abc", 3), c = BlobOf("abd", 3), one(1);
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a == c);
    EXPECT_TRUE(a != c);
    const CGenericBodyBase &ra = *a.GetRep(), &rc = *c.GetRep(), &number = *one.GetRep();
    for (const CGenericBodyBase* other : {&rc, &number})
        EXPECT_FALSE(ra < *other || ra <= *other || ra > *other || ra >= *other);
    EXPECT_FALSE(ra == number);
    const CGenericBlob x = BlobOf("x", 1), y = BlobOf("y", 1);
    EXPECT_FALSE(x < y || x <= y || x > y || x >= y);
    EXPECT_TRUE(x != y);
    CGenericBlob changed = x;
    changed.SetBlob(CBlob("y", 1));
    EXPECT_TRUE(changed == y);
    EXPECT_TRUE(x == BlobOf("x", 1)) << "a shared body is copied before it changes";
    EXPECT_EQ(static_cast<CGenericBlob>(a).GetBlob().GetBlobSize(), 3);
    std::vector<unsigned char> bytes;
    const CGeneric loaded = StoreAndLoad(BlobOf("secret", 6), &bytes);
    EXPECT_EQ(bytes, (std::vector<unsigned char>{13, 0, 0, 0}));
    ASSERT_EQ(loaded.GetType(), eGenericBlob);
    EXPECT_EQ(static_cast<CGenericBlob>(loaded).GetBlob().GetBlobSize(), 0) << "the bytes do not survive";
}

}  // namespace
