#include "ReplayGain.h"

#include "LoudnessMeter.h"
#include "Preferences.h"

#include <array>
#include <taglib/apetag.h>
#include <taglib/id3v2tag.h>
#include <taglib/textidentificationframe.h>

namespace {

struct ItemRow
{
    const char* gainKey;
    const char* peakKey;
    std::optional<ReplayGain::Figures> ReplayGain::*figures;
};
constexpr ItemRow kTrackRow{"REPLAYGAIN_TRACK_GAIN", "REPLAYGAIN_TRACK_PEAK", &ReplayGain::track};
constexpr ItemRow kAlbumRow{"REPLAYGAIN_ALBUM_GAIN", "REPLAYGAIN_ALBUM_PEAK", &ReplayGain::album};

struct Item
{
    const char* key;
    std::optional<QString> text;
};

// The two items of one row: texts when the figures are there.
std::array<Item, 2> itemsOf(const ReplayGain& gain, const ItemRow& row)
{
    const std::optional<ReplayGain::Figures>& figures = gain.*row.figures;
    if (!figures) {
        return {{{row.gainKey, std::nullopt}, {row.peakKey, std::nullopt}}};
    }
    return {{{row.gainKey, LoudnessMeter::gainText(figures->gain)},
             {row.peakKey, LoudnessMeter::peakText(figures->peak)}}};
}

void write(const ReplayGain& gain, const ItemRow& row, TagLib::ID3v2::Tag* tag)
{
    if (!tag) {
        return;
    }
    for (const Item& item : itemsOf(gain, row)) {
        // Players look the frame up by its description, case aside: drop
        // every spelling of it, not only ours.
        for (TagLib::ID3v2::Frame* frame : TagLib::ID3v2::FrameList(tag->frameList("TXXX"))) {
            const auto* text = dynamic_cast<TagLib::ID3v2::UserTextIdentificationFrame*>(frame);
            if (text && text->description().upper() == item.key) {
                tag->removeFrame(frame, true);
            }
        }
        if (item.text) {
            // The texts are plain ASCII: Latin-1 reads the same in every
            // version and encoding of the tag.
            auto* frame = new TagLib::ID3v2::UserTextIdentificationFrame(TagLib::String::Latin1);
            frame->setDescription(item.key);
            frame->setText(TagLib::String(item.text->toStdString()));
            tag->addFrame(frame);
        }
    }
}

void write(const ReplayGain& gain, const ItemRow& row, TagLib::APE::Tag* tag)
{
    if (!tag) {
        return;
    }
    for (const Item& item : itemsOf(gain, row)) {
        // APE keys are compared without regard to case.
        tag->removeItem(item.key);
        if (item.text) {
            tag->addValue(item.key, TagLib::String(item.text->toStdString()), true);
        }
    }
}

} // namespace

ReplayGain::Mode ReplayGain::mode()
{
    const qint64 value = Preferences::shared().integerValue(QStringLiteral("replayGain"));
    return value == Track || value == Album ? Mode(value) : Off;
}

std::optional<ReplayGain::Figures> ReplayGain::figuresOf(const LoudnessMeter& meter)
{
    const std::optional<double> loudness = meter.loudness();
    if (!loudness) {
        return std::nullopt;
    }
    return Figures{LoudnessMeter::gainFor(*loudness), meter.samplePeak()};
}

void ReplayGain::writeTo(TagLib::ID3v2::Tag* tag) const
{
    write(*this, kTrackRow, tag);
    write(*this, kAlbumRow, tag);
}

void ReplayGain::writeTo(TagLib::APE::Tag* tag) const
{
    write(*this, kTrackRow, tag);
    write(*this, kAlbumRow, tag);
}

void ReplayGain::writeAlbumTo(TagLib::ID3v2::Tag* tag) const
{
    write(*this, kAlbumRow, tag);
}

void ReplayGain::writeAlbumTo(TagLib::APE::Tag* tag) const
{
    write(*this, kAlbumRow, tag);
}
