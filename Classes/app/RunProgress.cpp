#include "RunProgress.h"

#include "AudioMetadata.h"
#include "FileEncodeOperation.h"

#include <QCoreApplication>
#include <algorithm>
#include <cmath>

namespace {

// Below these the speed says more about start-up than about converting.
constexpr double kMinimumElapsed = 2.0;
constexpr double kMinimumFraction = 0.01;

QString tr(const char* text)
{
    return QCoreApplication::translate("RunProgress", text);
}

} // namespace

void RunProgress::start(const QList<const void*>& files)
{
    m_files.clear();
    m_filesDone = 0;
    m_elapsed = 0;
    for (const void* key : files) {
        m_files.insert(key, Entry{});
    }
}

void RunProgress::start(const QList<FileEncodeOperation*>& rows)
{
    start(QList<const void*>(rows.cbegin(), rows.cend()));
    follow(rows);
}

void RunProgress::setLength(const void* key, double seconds)
{
    const auto entry = m_files.find(key);
    if (entry != m_files.end() && seconds > 0) {
        entry->seconds = seconds;
    }
}

void RunProgress::setFraction(const void* key, double fraction)
{
    const auto entry = m_files.find(key);
    if (entry != m_files.end() && !entry->finished) {
        entry->fraction = std::clamp(fraction, 0.0, 1.0);
    }
}

void RunProgress::finish(const void* key)
{
    const auto entry = m_files.find(key);
    if (entry != m_files.end() && !entry->finished) {
        entry->finished = true;
        entry->fraction = 1.0;
        ++m_filesDone;
    }
}

void RunProgress::follow(const QList<FileEncodeOperation*>& rows)
{
    for (const FileEncodeOperation* row : rows) {
        if (const AudioMetadataPtr metadata = row->metadataIfRead()) {
            setLength(row, metadata->sourceLength().value_or(0.0));
        }
        if (row->isExecuting() && !row->progressUnknown()) {
            setFraction(row, double(row->percentComplete()));
        }
    }
}

double RunProgress::unknownLength() const
{
    double known = 0;
    int count = 0;
    for (const Entry& entry : m_files) {
        if (entry.seconds > 0) {
            known += entry.seconds;
            ++count;
        }
    }
    return count > 0 ? known / count : 1.0;
}

double RunProgress::secondsDone() const
{
    const double unknown = unknownLength();
    double done = 0;
    for (const Entry& entry : m_files) {
        done += (entry.seconds > 0 ? entry.seconds : unknown) * entry.fraction;
    }
    return done;
}

double RunProgress::secondsTotal() const
{
    const double unknown = unknownLength();
    double total = 0;
    for (const Entry& entry : m_files) {
        total += entry.seconds > 0 ? entry.seconds : unknown;
    }
    return total;
}

double RunProgress::fraction() const
{
    const double total = secondsTotal();
    return total > 0 ? std::clamp(secondsDone() / total, 0.0, 1.0) : 0.0;
}

std::optional<double> RunProgress::speed() const
{
    if (m_elapsed < kMinimumElapsed || fraction() < kMinimumFraction) {
        return std::nullopt;
    }
    return secondsDone() / m_elapsed;
}

std::optional<double> RunProgress::secondsLeft() const
{
    const std::optional<double> rate = speed();
    if (!rate || *rate <= 0) {
        return std::nullopt;
    }
    return (secondsTotal() - secondsDone()) / *rate;
}

QString RunProgress::describe() const
{
    QString text = tr("%1 of %2 files done, %3 %")
                       .arg(m_filesDone)
                       .arg(filesTotal())
                       .arg(int(std::floor(fraction() * 100)));
    const std::optional<double> rate = speed();
    const std::optional<double> left = secondsLeft();
    if (rate && left) {
        const int multiple = int(std::lround(*rate));
        const QString pace =
            multiple >= 1 ? tr("%1× real time").arg(multiple) : tr("%1× real time").arg(*rate, 0, 'f', 1);
        text += QStringLiteral(" (") + pace + QStringLiteral(", ") + describeTimeLeft(*left) + u')';
    }
    return text;
}

QString RunProgress::describeTimeLeft(double seconds)
{
    // Rounded up, so the estimate does not promise what it cannot keep:
    // seconds by fives under a minute, then whole minutes, then hours.
    if (seconds < 60) {
        const int fives = std::max(5, int(std::ceil(seconds / 5)) * 5);
        return fives >= 60 ? tr("about 1 min left") : tr("about %1 s left").arg(fives);
    }
    const int minutes = int(std::ceil(seconds / 60));
    if (minutes < 90) {
        return tr("about %1 min left").arg(minutes);
    }
    return tr("about %1 h %2 min left").arg(minutes / 60).arg(minutes % 60);
}
