#include "Fixtures.h"
#include "NamedException.h"
#include "UtilityFunctions.h"

#include <QFile>
#include <gtest/gtest.h>

namespace {

QString failureOf(const QString& path)
{
    try {
        oggStreamType(path);
    } catch (const NamedException& e) {
        EXPECT_EQ(e.name(), kAssertionFailureName);
        return e.reason();
    }
    return QStringLiteral("<no exception>");
}

TEST(OggStreamType, ClassifiesTheFirstPacket)
{
    EXPECT_EQ(oggStreamType(Fixtures::generated(QStringLiteral("core.ogg"))), OggStreamTypeVorbis);
    EXPECT_EQ(oggStreamType(Fixtures::generated(QStringLiteral("core.spx"))), OggStreamTypeSpeex);
    EXPECT_EQ(oggStreamType(Fixtures::generated(QStringLiteral("core.opus"))), OggStreamTypeOpus);
    EXPECT_EQ(oggStreamType(Fixtures::generated(QStringLiteral("core.oggflac"))), OggStreamTypeFLAC);
    EXPECT_EQ(oggStreamType(Fixtures::generated(QStringLiteral("core-theora.ogg"))), OggStreamTypeUnknown);
}

TEST(OggStreamType, FailuresCarryTheSystemErrorText)
{
    EXPECT_EQ(failureOf(QStringLiteral("/nonexistent/folder/a.ogg")),
              QStringLiteral("Opening Input File Failed: No such file or directory."));
    EXPECT_EQ(failureOf(Fixtures::generated(QStringLiteral("core-directory.ogg"))),
              QStringLiteral("Reading Input File Failed: (Is a directory)."));
    EXPECT_EQ(failureOf(Fixtures::generated(QStringLiteral("core-empty.ogg"))),
              QStringLiteral("Input does not appear to be an Ogg bitstream."));
}

// A first page that is whole but whose packet continues on the next page
// yields no packet.
TEST(OggStreamType, AFirstPageWithoutAWholePacketIsRefused)
{
    QFile source(Fixtures::generated(QStringLiteral("core.ogg")));
    ASSERT_TRUE(source.open(QIODevice::ReadOnly));
    QByteArray page = source.read(4096);
    // Rewrite the first page as one unfinished 255-byte segment: lacing 255
    // means "continues", then fix the CRC.
    const int headerSize = 27 + uchar(page[26]);
    QByteArray body = page.mid(headerSize, 255);
    ASSERT_EQ(body.size(), 255);
    QByteArray rebuilt = page.left(26);
    rebuilt.append(char(1)).append(char(255)).append(body);
    rebuilt[22] = rebuilt[23] = rebuilt[24] = rebuilt[25] = 0;
    uint32_t crc = 0;
    for (char c : rebuilt) {
        crc ^= uint32_t(uchar(c)) << 24;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 0x80000000u) ? (crc << 1) ^ 0x04C11DB7u : crc << 1;
        }
    }
    for (int i = 0; i < 4; ++i) {
        rebuilt[22 + i] = char((crc >> (8 * i)) & 0xFF);
    }
    ScratchDir scratch;
    QFile broken(scratch.file(QStringLiteral("continued.ogg")));
    ASSERT_TRUE(broken.open(QIODevice::WriteOnly));
    broken.write(rebuilt);
    broken.close();
    EXPECT_EQ(failureOf(broken.fileName()), QStringLiteral("Error reading initial header packet."));
}

} // namespace
