#pragma once
// Packets of an Ogg file, read page by page in 200-byte reads: the Ogg layer
// under OggOpusDecoder and OggSpeexDecoder.
//
// The stream state follows the pages: the first page's serial number starts
// it and a page of another serial number resets it to that number, so the
// packets of every logical stream come out in file order and callers pick
// theirs by serialNumber(). A new page is read only when no packet is left,
// so pageGranule() and the other page facts describe the page on which the
// packet just returned ended.
//
// Ownership: owns the open file and the libogg sync and stream states.
// Threads: one thread.
// Damage: each page's sequence number is compared with the last one of its
// logical stream, so pages lost in between are counted (pagesMissing()),
// whatever other streams are interleaved with it.
// Failures: raise assertion failures (NamedException) with the decoders'
// texts: "Unable to open the input file (%s).", "Unable to read from the
// input file (%s).", "Ogg decoding error (ogg_sync_wrote).", "Error reading
// Ogg page.".

#include <QString>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <map>
#include <memory>
#include <ogg/ogg.h>

class OggPacketSource
{
public:
    enum class Result
    {
        Packet,    // a packet was returned
        Hole,      // packets were lost before the next one (a gap in the stream)
        EndOfFile, // the file has no more packets
    };

    explicit OggPacketSource(const QString& path);
    ~OggPacketSource();
    OggPacketSource(const OggPacketSource&) = delete;
    OggPacketSource& operator=(const OggPacketSource&) = delete;

    // The next packet, reading pages as needed. The packet's data belongs to
    // the source and stays valid until the next call.
    Result nextPacket(ogg_packet& packet);
    // Reads until one whole page is there and feeds it to the stream state;
    // false at the end of the file.
    bool readPage();

    // Serial number of the stream state, i.e. of the packet just returned.
    long serialNumber() const { return m_streamState.serialno; }
    bool hasPage() const { return m_havePage; }
    // Facts of the last page fed to the stream state.
    int64_t pageGranule() const { return m_pageGranule; }
    int pagePackets() const { return m_pagePackets; }
    bool pageIsEndOfStream() const { return m_pageIsEndOfStream; }
    // Pages of the last page's logical stream missing right before it.
    long pagesMissing() const { return m_pagesMissing; }

    // Whether the last whole page of the file at path ends its logical
    // stream: false for a file cut short, whose last page is not one of the
    // end-of-stream pages every complete Ogg file closes with. Reads the
    // file's last 128 KiB; false when it cannot be read.
    static bool lastPageEndsStream(const QString& path);

    // Called after each page has been fed to the stream state.
    std::function<void()> onPage;

private:
    struct FileCloser
    {
        void operator()(FILE* file) const { std::fclose(file); }
    };

    // One 200-byte read into the sync state; false at the end of the file.
    bool readChunk();

    std::unique_ptr<FILE, FileCloser> m_file;
    ogg_sync_state m_syncState;
    ogg_stream_state m_streamState;
    ogg_page m_page;
    bool m_streamInitialised = false;
    bool m_havePage = false;
    int64_t m_pageGranule = 0;
    int m_pagePackets = 0;
    bool m_pageIsEndOfStream = false;
    long m_pagesMissing = 0;
    // The last sequence number seen, by serial number.
    std::map<int, long> m_lastPageNumber;
};
