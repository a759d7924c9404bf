// How a speed is worded, at both sides of every boundary, and the other short texts of the pages.
#include "info/adapter_text.h"

#include <gtest/gtest.h>

#include <string>

constexpr DWORD majors[] = {5, 6, 10, 0};
constexpr wchar_t untouched = 0xdead;

// Calls one of the routines on a poisoned buffer; what lies behind the buffer must stay.
template <typename Word> static std::wstring Worded(Word word) {
    WCHAR text[VALUE_CCH + 1];
    for (WCHAR& c : text)
        c = untouched;
    word(text);
    EXPECT_EQ(untouched, text[VALUE_CCH]);
    text[VALUE_CCH] = L'\0';
    EXPECT_LT(wcslen(text), VALUE_CCH) << "terminated";
    return text;
}

static std::wstring Speed(ULONGLONG units, DWORD major) {
    return Worded([&](LPWSTR text) { WordLinkSpeed(text, units, major); });
}

struct SpeedCase {
    ULONGLONG units; // of 100 bit/s
    const wchar_t* onFive;
    const wchar_t* onSixAndTen;
};

static const SpeedCase speeds[] = {
    // No link and less than 200 bit/s.
    {0, L"100 bps", L"100 bps"},
    {1, L"100 bps", L"100 bps"},
    // Bits.
    {2, L"200 bps", L"200 bps"},
    {3, L"300 bps", L"300 bps"},
    {9, L"900 bps", L"900 bps"},
    // Thousands, cut.
    {10, L"1 Kbps", L"1 Kbps"},
    {11, L"1 Kbps", L"1 Kbps"},
    {19, L"1 Kbps", L"1 Kbps"},
    {20, L"2 Kbps", L"2 Kbps"},
    {96, L"9 Kbps", L"9 Kbps"},
    {560, L"56 Kbps", L"56 Kbps"},
    {9999, L"999 Kbps", L"999 Kbps"},
    // Millions.
    {10000, L"1 Mbps", L"1 Mbps"},
    {10001, L"1 Mbps", L"1 Mbps"},
    {19999, L"1 Mbps", L"1 Mbps"},
    {20000, L"2 Mbps", L"2 Mbps"},
    {100000, L"10 Mbps", L"10 Mbps"},
    {1000000, L"100 Mbps", L"100 Mbps"},
    {9999999, L"999 Mbps", L"999 Mbps"},
    // Billions.
    {10000000, L"1 Gbps", L"1 Gbps"},
    {19999999, L"1 Gbps", L"1 Gbps"},
    {25000000, L"2 Gbps", L"2 Gbps"},
    {99999999, L"9 Gbps", L"9 Gbps"},
    {100000000, L"10 Gbps", L"10 Gbps"},
    {100000001, L"10 Gbps", L"10 Gbps"},
    // Round the cap of 0x280000000 bit/s.
    {107374182, L"10 Gbps", L"10 Gbps"},
    {107374183, L"10 Gbps", L"10 Gbps"},
    {109999999, L"10 Gbps", L"10 Gbps"},
    {110000000, L"11 Gbps", L"10 Gbps"},
    {250000000, L"25 Gbps", L"10 Gbps"},
    {400000000, L"40 Gbps", L"10 Gbps"},
    {1000000000, L"100 Gbps", L"10 Gbps"},
    // What needs more than 32 bits, as units and as bits.
    {0xFFFFFFFF, L"429 Gbps", L"10 Gbps"},
    {0x100000000, L"429 Gbps", L"10 Gbps"},
    {10000000000, L"1000 Gbps", L"10 Gbps"},
    {184467440737095516, L"18446744073 Gbps", L"10 Gbps"},
    // The product wraps around in 64 bits.
    {184467440737095517, L"100 bps", L"100 bps"},
    {184467440737095526, L"984 bps", L"984 bps"},
    {0xFFFFFFFFFFFFFFFF, L"18446744073 Gbps", L"10 Gbps"},
};

TEST(LinkSpeed, IsCutToTheLargestUnitThatItFills) {
    for (const SpeedCase& c : speeds) {
        EXPECT_EQ(c.onFive, Speed(c.units, 5)) << c.units;
        EXPECT_EQ(c.onSixAndTen, Speed(c.units, 6)) << c.units;
        EXPECT_EQ(c.onSixAndTen, Speed(c.units, 10)) << c.units;
    }
}

TEST(LinkSpeed, IsNotKnownWhereTheVersionIsNot) {
    for (const SpeedCase& c : speeds)
        EXPECT_EQ(L"100 bps", Speed(c.units, 0)) << c.units;
}

TEST(LinkSpeed, OfAHundredMillionUnitsIsTenGigabitEverywhere) {
    for (DWORD major : {5u, 6u, 10u})
        EXPECT_EQ(L"10 Gbps", Speed(100000000, major)) << major;
}

TEST(LinkSpeed, OfTenThousandUnitsIsOneMegabit) {
    for (DWORD major : {5u, 6u, 10u})
        EXPECT_EQ(L"1 Mbps", Speed(10000, major)) << major;
}

TEST(LinkSpeed, OfNoneIsWordedAsAHundredBits) {
    for (DWORD major : majors)
        EXPECT_EQ(L"100 bps", Speed(0, major)) << major;
}

TEST(LinkSpeed, OfFortyGigabitReadsTenFromVersionSixOn) {
    EXPECT_EQ(L"40 Gbps", Speed(400000000, 5));
    for (DWORD major : {6u, 7u, 10u, 11u})
        EXPECT_EQ(L"10 Gbps", Speed(400000000, major)) << major;
}

TEST(Address, HasTwoSmallHexadecimalDigitsAByte) {
    const struct {
        BYTE bytes[6];
        const wchar_t* text;
    } cases[] = {
        {{0, 0, 0, 0, 0, 0}, L"00-00-00-00-00-00"},
        {{0x02, 0x51, 0x56, 0x00, 0x00, 0x0A}, L"02-51-56-00-00-0a"},
        {{1, 2, 3, 4, 5, 6}, L"01-02-03-04-05-06"},
        {{0xAB, 0xCD, 0xEF, 0x10, 0x9F, 0xF0}, L"ab-cd-ef-10-9f-f0"},
        {{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, L"ff-ff-ff-ff-ff-ff"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.text, Worded([&](LPWSTR text) { WordAddress(text, c.bytes); }));
}

TEST(LinkStatus, IsConnectedForZeroAndUnpluggedForEverythingElse) {
    EXPECT_STREQ(L"Connected", LinkStatusText(0));
    for (DWORD status : {1u, 2u, 0x80000000u, 0xFFFFFFFFu})
        EXPECT_STREQ(L"Network Cable Unplugged", LinkStatusText(status)) << status;
}

TEST(DriverState, HasFourTextsAndNoneForAnUnknownState) {
    const struct {
        DWORD state;
        const wchar_t* text;
    } cases[] = {
        {0, L"Installed"},
        {1, L"Needs Reinstall"},
        {2, L"Failed Install"},
        {3, L"Install Not Complete"},
        {4, L""},
        {0x80000000, L""},
        {0xFFFFFFFF, L""},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.text, Worded([&](LPWSTR text) { WordDriverState(text, c.state); })) << c.state;
}

TEST(Count, IsWordedUnsignedInFullWidth) {
    const struct {
        ULONGLONG count;
        const wchar_t* text;
    } cases[] = {
        {0, L"0"},
        {1, L"1"},
        {0x7FFFFFFF, L"2147483647"},
        {0xFFFFFFFF, L"4294967295"},
        {0x100000000, L"4294967296"},
        {0x8000000000000000, L"9223372036854775808"},
        {0xFFFFFFFFFFFFFFFF, L"18446744073709551615"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.text, Worded([&](LPWSTR text) { WordCount(text, c.count); }));
}
