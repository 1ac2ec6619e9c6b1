// Address text, address bytes, prefix lengths and netmasks.
#include "api/conversions.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

using Bytes = std::vector<unsigned char>;

TEST(Conversions, DataToString)
{
    unsigned char v4[16] = {0xC0, 0xA8, 0x01, 0x0A};
    char text[96];
    memset(text, 0x5A, sizeof text);
    strcpy(text, "previous text that is longer");
    ConvertDataToString(v4, text, 2);
    EXPECT_STREQ(text, "192.168.1.10");

    unsigned char v6[16] = {0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
    strcpy(text, "addr=");
    ConvertDataToString(v6, text, 10);
    EXPECT_STREQ(text, "addr=25412800:0000:0000:0001");
    unsigned char high[16];
    for (int i = 0; i < 16; ++i)
        high[i] = static_cast<unsigned char>(250 + i % 6);
    strcpy(text, "");
    ConvertDataToString(high, text, 10);
    EXPECT_STREQ(text, "250251252253:254255250251:252253254255:250251252253");

    std::string before(text, sizeof text);
    ConvertDataToString(v4, text, 6);
    EXPECT_EQ(std::string(text, sizeof text), before) << "an unknown family wrote text";

    // Appending never goes past the caller's 80-byte buffer.
    memset(text, 0x5A, sizeof text);
    memset(text, 'x', 70);
    text[70] = '\0';
    ConvertDataToString(high, text, 10);
    EXPECT_EQ(std::string(text), std::string(70, 'x') + "250251252");
    EXPECT_EQ(std::string(text + 80, 16), std::string(16, 0x5A));
}

TEST(Conversions, DottedTextToData)
{
    Bytes data(24, 0x77);
    char text[] = "192.168.1.10";
    ConvertStringToData(data.data(), text);
    EXPECT_EQ(Bytes(data.begin(), data.begin() + 5), (Bytes{0xC0, 0xA8, 0x01, 0x0A, 0x77}));
    EXPECT_EQ(memcmp(text,
                     "192\0"
                     "168\0"
                     "1\0"
                     "10",
                     sizeof text),
              0)
        << "text not split in place";

    data.assign(24, 0x77);
    char prefix[] = "24";
    ConvertStringToData(data.data(), prefix);
    EXPECT_EQ(Bytes(data.begin(), data.begin() + 2), (Bytes{24, 0x77}));

    std::string pieces;
    for (int i = 1; i <= 100; ++i)
        pieces += std::to_string(i) + ".";
    data.assign(24, 0x77);
    ConvertStringToData(data.data(), &pieces[0]);
    EXPECT_EQ(data[15], 16);
    EXPECT_EQ(Bytes(data.begin() + 16, data.end()), Bytes(8, 0x77)) << "wrote past the 16-byte field";
}

TEST(Conversions, Inet6TextToData)
{
    Bytes data(24, 0x77);
    char shortForm[] = "fe80::1";
    ConvertInet6StringToData(data.data(), shortForm);
    EXPECT_EQ(Bytes(data.begin(), data.begin() + 7), (Bytes{0xFE, 0x80, 0x00, 0x01, 0x00, 0x00, 0x77}));

    data.assign(24, 0x77);
    char full[] = "2001:db8:a:b:c:d:e:ff01";
    ConvertInet6StringToData(data.data(), full);
    EXPECT_EQ(data, (Bytes{0x20, 0x01, 0x0d, 0xb8, 0x00, 0x0a, 0x00, 0x0b, 0x00, 0x0c, 0x00, 0x0d,
                           0x00, 0x0e, 0xff, 0x01, 0x00, 0x00, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77}));
    data.assign(24, 0x77);
    char nine[] = "1:2:3:4:5:6:7:8:9";
    ConvertInet6StringToData(data.data(), nine);
    EXPECT_EQ(Bytes(data.begin() + 14, data.end()), (Bytes{0, 8, 0, 0, 0x77, 0x77, 0x77, 0x77, 0x77, 0x77}));

    for (std::string none : {"", ":::"}) {
        data.assign(24, 0x77);
        ConvertInet6StringToData(data.data(), &none[0]);
        Bytes expected(24, 0x77);
        expected[2] = 0;
        EXPECT_EQ(data, expected) << '"' << none << '"';
    }
}

TEST(Conversions, PrefixToOctets)
{
    auto mask_of = [](unsigned char prefix) {
        Bytes mask(20, 0x11);
        ConvertPrefixToOctets(prefix, mask.data());
        return mask;
    };
    auto ones_then = [](size_t ones, Bytes rest) {
        Bytes mask(ones, 0xFF);
        mask.insert(mask.end(), rest.begin(), rest.end());
        mask.resize(20, 0x11);
        return mask;
    };
    EXPECT_EQ(mask_of(20), ones_then(2, {0xF0}));
    EXPECT_EQ(mask_of(24), ones_then(3, {0x00}));
    EXPECT_EQ(mask_of(32), ones_then(4, {0x00}));
    EXPECT_EQ(mask_of(0), ones_then(0, {0x00}));
    for (unsigned char prefix : {128, 200, 255})
        EXPECT_EQ(mask_of(prefix), ones_then(16, {})) << int(prefix);
}

TEST(Conversions, MaskBitsAndOnes)
{
    for (auto [mask, bits] : std::vector<std::pair<std::string, int>>{
             {"255.255.255.0", 24}, {"255.255.255.255", 32}, {"255.0.255.0", 16}, {"255.255.240.0", 20}}) {
        std::string text = mask;
        EXPECT_EQ(get_masknum_from_string(reinterpret_cast<unsigned char*>(&text[0])), bits) << mask;
        EXPECT_EQ(text, mask) << "input modified";
    }
    EXPECT_EQ(count_noofones(0), 0);
    EXPECT_EQ(count_noofones(0xFF), 8);
    EXPECT_EQ(count_noofones(0xFFFFFFFFu), 32);
}

TEST(Conversions, TrimInPlace)
{
    char padded[] = "\t eth0 slave\r\n";
    EXPECT_EQ(trim_str(padded), padded);
    EXPECT_STREQ(padded, "eth0 slave");

    // Each text starts a page whose preceding page is inaccessible, so any
    // read before the text faults.
    size_t page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void* map = mmap(nullptr, 2 * page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(map, MAP_FAILED);
    char* text = static_cast<char*>(map) + page;
    ASSERT_EQ(mprotect(map, page, PROT_NONE), 0);
    for (auto [input, trimmed] :
         std::vector<std::pair<const char*, const char*>>{{"", ""}, {"   \t\n", ""}, {"  eth0 \n", "eth0"}}) {
        strcpy(text, input);
        EXPECT_EQ(trim_str(text), text);
        EXPECT_STREQ(text, trimmed);
    }
    munmap(map, 2 * page);
}
