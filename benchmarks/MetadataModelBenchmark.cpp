// What the metadata model costs where it is used most: a tag reader handing
// a cover image to an artwork (size probe, MIME sniffing, MD5), and the
// locked single-field accesses of a record that the naming scheme and the
// tag writers make by the dozen per output file.
//
// BM_SetArtworkData is set against BM_DecodeWholeImage, the cost it would
// have if the pixel size were taken by decoding the picture.

#include "AlbumArtwork.h"
#include "AudioMetadata.h"

#include <QBuffer>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <benchmark/benchmark.h>

namespace {

// A 1400 x 1400 JPEG cover, the size music stores sell, with enough detail
// that it does not compress to nothing.
const QByteArray& coverJPEG()
{
    static const QByteArray jpeg = [] {
        QImage image(1400, 1400, QImage::Format_RGB32);
        for (int y = 0; y < image.height(); ++y) {
            auto* line = reinterpret_cast<QRgb*>(image.scanLine(y));
            for (int x = 0; x < image.width(); ++x) {
                line[x] = qRgb((x * 7 + y) & 255, (x ^ y) & 255, (x * y >> 5) & 255);
            }
        }
        QByteArray bytes;
        QBuffer buffer(&bytes);
        buffer.open(QIODevice::WriteOnly);
        image.save(&buffer, "JPEG", 90);
        return bytes;
    }();
    return jpeg;
}

void BM_SetArtworkData(benchmark::State& state)
{
    const QByteArray& jpeg = coverJPEG();
    for (auto _ : state) {
        AlbumArtwork artwork;
        artwork.setData(
            QByteArray(jpeg.constData(), jpeg.size())); // a distinct copy each time, as a reader gives
        benchmark::DoNotOptimize(artwork.width());
    }
    state.SetBytesProcessed(state.iterations() * jpeg.size());
}
BENCHMARK(BM_SetArtworkData)->Unit(benchmark::kMillisecond);

void BM_DecodeWholeImage(benchmark::State& state)
{
    const QByteArray& jpeg = coverJPEG();
    for (auto _ : state) {
        benchmark::DoNotOptimize(QImage::fromData(jpeg).width());
    }
    state.SetBytesProcessed(state.iterations() * jpeg.size());
}
BENCHMARK(BM_DecodeWholeImage)->Unit(benchmark::kMillisecond);

void BM_ReadTextField(benchmark::State& state)
{
    AudioMetadata record;
    record.setTrackTitle(QStringLiteral("A title of ordinary length"));
    for (auto _ : state) {
        benchmark::DoNotOptimize(record.trackTitle());
    }
}
BENCHMARK(BM_ReadTextField);

void BM_SetTextField(benchmark::State& state)
{
    AudioMetadata record;
    const QString title = QStringLiteral("A title of ordinary length");
    for (auto _ : state) {
        record.setTrackTitle(title);
    }
}
BENCHMARK(BM_SetTextField);

void BM_CopyAndPasteAllMetadata(benchmark::State& state)
{
    AudioMetadata source, target;
    for (AudioMetadata::Field field : AudioMetadata::exchangeFields()) {
        switch (AudioMetadata::kindOf(field)) {
        case AudioMetadata::Kind::Text:
            source.setValue(field, AudioMetadata::fieldName(field));
            break;
        case AudioMetadata::Kind::Integer:
            source.setValue(field, int(field));
            break;
        default:
            break;
        }
    }
    source.setAlbumArtwork(std::make_shared<AlbumArtwork>());
    for (auto _ : state) {
        target.setFromExchangeDictionary(source.exchangeDictionary());
    }
}
BENCHMARK(BM_CopyAndPasteAllMetadata);

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv); // image plug-ins are found through the application
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
