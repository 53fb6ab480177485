#include "support/Memory.h"

#include "tests/TestSupport.h"

TEST(Memory, MeasuresAndFindsText) {
    EXPECT_EQ(zqStrLen("abc"), 3u);
    EXPECT_EQ(zqStrLen(nullptr), 0u);
    const char* const text = "a=?b";
    EXPECT_EQ(zqStrStr(text, "=?"), text + 1);
    EXPECT_EQ(zqStrStr(text, "?="), nullptr);
    EXPECT_EQ(zqStrStr(nullptr, "x"), nullptr);
    EXPECT_EQ(zqStrStr(text, nullptr), nullptr);
}

// A leak, or array delete of the wrong type, shows under the address sanitizer.
TEST(Memory, AnOwnerReleasesEachKindOfArray) {
    ByteArrayOwner chars, bytes, words, none, takenBack;
    EXPECT_FALSE(chars.m_ownedArray);
    chars.m_ownedArray = zqNewChar(0);
    bytes.m_ownedArray = zqNewUnsignedChar(5);
    words.m_ownedArray = zqNewUint32(5);
    none.m_ownedArray = zqNewChar(5);
    none.m_ownedArray.release();
    EXPECT_FALSE(none.m_ownedArray);
    const std::unique_ptr<char[]> array(zqNewChar(5));
    takenBack.m_ownedArray = array.get();
    EXPECT_TRUE(takenBack.m_ownedArray == array.get());
    takenBack.m_ownedArray = nullptr;
}
