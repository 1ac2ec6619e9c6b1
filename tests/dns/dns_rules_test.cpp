// Which pieces of resolv.conf text are listed, dropped and replaced, on
// crafted text.
#include "dns/dns_rules.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

std::vector<std::string> pieces(std::string_view text, size_t bufferSize)
{
    std::vector<std::string> found;
    dns::for_each_piece(text, bufferSize, [&](std::string_view piece) { found.emplace_back(piece); });
    return found;
}

// A line of exactly `width` characters (its line feed not counted) that
// starts with `start`.
std::string line_of(const std::string& start, size_t width)
{
    return start + std::string(width - start.size(), 'x') + "\n";
}

} // namespace

TEST(DnsPieces, ReadAtMostOneCharacterLessThanTheBufferEndingAfterTheLineFeed)
{
    const std::string full = std::string(79, 'a');
    EXPECT_EQ((Texts{"ab\n", "\n", "cd"}), pieces("ab\n\ncd", 80));
    EXPECT_EQ((Texts{full, "a"}), pieces(full + "a", 80));
    EXPECT_EQ((Texts{full, "\n"}), pieces(full + "\n", 80));
    EXPECT_EQ((Texts{full + "\n"}), pieces(full + "\n", 81));
    EXPECT_EQ((Texts{"ab", "\n"}), pieces(std::string("ab\0cd\n\n", 7), 80)) << "a NUL ends the piece's text";
}

TEST(DnsEntries, ListedAsTheTextAfterTheKeyAndOneSeparator)
{
    const std::string text = "# resolver\n"
                             "#nameserver 10.0.0.5\n"
                             "\n"
                             "search example.com\n"
                             "nameserver 10.0.0.1\n"
                             "nameserver  10.0.0.2\n"
                             "nameserver 10.0.0.3 # office\n"
                             " #nameserver 10.0.0.4\n"
                             "nameserver\tfe80::1\n"
                             "nameserver\n"
                             "options timeout:1 nameserver=10.0.0.6\n"
                             "nameserver 10.0.0.7";
    EXPECT_EQ((Texts{"10.0.0.1", " 10.0.0.2", "10.0.0.3 # office", "10.0.0.4", "fe80::1", "", "10.0.0.6", "10.0.0.7"}),
              dns::entry_texts(text));
}

TEST(DnsEntries, ALongLineIsListedPieceByPiece)
{
    // The key in the second piece of a long line names an entry of its own;
    // a comment's second piece is no comment.
    const std::string text = line_of("nameserver 10.0.0.1 #", 79).substr(0, 79) + "nameserver 10.0.0.2\n"
                             + line_of("#", 79).substr(0, 79) + "nameserver 10.0.0.3\n";
    EXPECT_EQ((Texts{"10.0.0.1 #" + std::string(58, 'x'), "10.0.0.2", "10.0.0.3"}), dns::entry_texts(text));
}

TEST(DnsDelete, DropsEveryEntryHoldingTheAddressAnywhere)
{
    dns::Edit edit = dns::without_entry("# local\n"
                                        "nameserver 10.0.0.1\n"
                                        "#nameserver 10.0.0.1\n"
                                        "nameserver 10.0.0.12\n"
                                        "search 10.0.0.1.example\n"
                                        "nameserver 10.0.0.2\n"
                                        "nameserver 192.0.2.1",
                                        "10.0.0.1");
    EXPECT_EQ("# local\n#nameserver 10.0.0.1\nsearch 10.0.0.1.example\nnameserver 10.0.0.2\nnameserver 192.0.2.1",
              edit.text);
    EXPECT_EQ(2, edit.matched);

    edit = dns::without_entry("nameserver 10.0.0.2\n", "10.0.0.1");
    EXPECT_EQ("nameserver 10.0.0.2\n", edit.text);
    EXPECT_EQ(0, edit.matched);

    std::string many;
    for (int i = 0; i < 256; ++i)
        many += "nameserver 10.0.0.1\n";
    EXPECT_EQ(0, dns::without_entry(many, "10.0.0.1").matched) << "the count is a byte";
    EXPECT_EQ(1, dns::without_entry(many + "nameserver 10.0.0.1\n", "10.0.0.1").matched);
}

TEST(DnsDelete, ALongLineLosesOnlyItsMatchingPieces)
{
    const std::string long_entry = line_of("nameserver 10.0.0.1 # ", 100);
    EXPECT_EQ(long_entry.substr(79) + "nameserver 10.0.0.2\n",
              dns::without_entry(long_entry + "nameserver 10.0.0.2\n", "10.0.0.1").text);
    // A line of 79 characters fills the piece; its line feed is a piece of its own.
    EXPECT_EQ("\n", dns::without_entry(line_of("nameserver 10.0.0.1 #", 79), "10.0.0.1").text);
}

TEST(DnsReplace, PutsTheNewLineInPlaceOfEveryMatchingEntryReadingOneMoreCharacter)
{
    const std::string line = dns::name_server_line("10.9.9.9", dns::kLineBufferSize);
    EXPECT_EQ("nameserver 10.9.9.9\n", line);

    dns::Edit edit = dns::with_entry_replaced("#nameserver 10.0.0.1\nnameserver 10.0.0.1\nnameserver 10.0.0.12\n"
                                              "nameserver 10.0.0.2 # kept\n",
                                              "10.0.0.1", line);
    EXPECT_EQ("#nameserver 10.0.0.1\nnameserver 10.9.9.9\nnameserver 10.9.9.9\nnameserver 10.0.0.2 # kept\n",
              edit.text);
    EXPECT_EQ(2, edit.matched);

    EXPECT_EQ(line, dns::with_entry_replaced(line_of("nameserver 10.0.0.1 #", 79), "10.0.0.1", line).text);
    EXPECT_EQ(line + "\n", dns::with_entry_replaced(line_of("nameserver 10.0.0.1 #", 80), "10.0.0.1", line).text);
    EXPECT_EQ(0, dns::with_entry_replaced("nameserver 10.0.0.2\n", "10.0.0.1", line).matched);
}

TEST(DnsLines, ANameServerLineIsCutToItsBuffer)
{
    EXPECT_EQ("nameserver 192.0.2.1\n", dns::name_server_line("192.0.2.1", dns::kAddLineBufferSize));
    const std::string address(70, '1');
    EXPECT_EQ("nameserver " + address.substr(0, 68), dns::name_server_line(address, dns::kLineBufferSize));
    EXPECT_EQ("nameserver " + address.substr(0, 69), dns::name_server_line(address, dns::kAddLineBufferSize));
}
