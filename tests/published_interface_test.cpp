// What the product relies on of the Windows interface, where no constant expression reaches it. The rest
// fails when published/interface.cpp is compiled.
#include "published/interface.h"

#include <gtest/gtest.h>

namespace {

// The sixteen bytes as they lie in memory, from the text: three numbers, then eight bytes.
std::vector<BYTE> BytesOf(const std::string& text) {
    std::vector<BYTE> bytes;
    for (size_t at : {7, 5, 3, 1, 12, 10, 17, 15, 20, 22, 25, 27, 29, 31, 33, 35})
        bytes.push_back(static_cast<BYTE>(std::stoul(text.substr(at, 2), nullptr, 16)));
    return bytes;
}

std::vector<BYTE> BytesOf(const GUID& guid) {
    const BYTE* first = reinterpret_cast<const BYTE*>(&guid);
    return {first, first + sizeof(guid)};
}

} // namespace

TEST(PublishedInterface, HasTheseIds) {
    for (const PublishedId& id : PublishedIds())
        EXPECT_EQ(BytesOf(id.published), BytesOf(id.used)) << id.name;
}

TEST(PublishedInterface, HasTheseHandles) {
    for (const PublishedNumber& handle : PublishedHandles())
        EXPECT_EQ(handle.published, handle.used) << handle.name;
}

TEST(PublishedInterface, HasItsMethodsInThesePlaces) {
    for (const PublishedNumber& method : PublishedSlots())
        EXPECT_EQ(method.published, method.used) << method.name;
}
