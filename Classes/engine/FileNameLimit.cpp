#include "FileNameLimit.h"

#include <QStringList>
#include <QTextBoundaryFinder>

namespace {

qsizetype utf8Size(QStringView text)
{
    return text.toUtf8().size();
}

// The longest prefix of text at a grapheme boundary that takes at most
// budget bytes of UTF-8.
QString prefixWithin(const QString& text, qsizetype budget)
{
    if (budget <= 0) {
        return QString();
    }
    QTextBoundaryFinder graphemes(QTextBoundaryFinder::Grapheme, text);
    qsizetype kept = 0;
    qsizetype bytes = 0;
    for (qsizetype next = graphemes.toNextBoundary(); next > 0; next = graphemes.toNextBoundary()) {
        bytes += utf8Size(QStringView(text).mid(kept, next - kept));
        if (bytes > budget) {
            break;
        }
        kept = next;
    }
    if (kept == 0) {
        // Not even the first grapheme fits: a letter with thousands of
        // combining marks, as a hostile tag may hold. An empty name is no
        // name (the last component would become only its extension), so cut
        // inside the grapheme instead, between code points.
        bytes = 0;
        for (qsizetype next = 0; next < text.size(); kept = next) {
            next += QChar::isHighSurrogate(text[next].unicode()) && next + 1 < text.size() ? 2 : 1;
            bytes += utf8Size(QStringView(text).mid(kept, next - kept));
            if (bytes > budget) {
                break;
            }
        }
    }
    return text.left(kept);
}

} // namespace

QString FileNameLimit::fit(const QString& stem, const QString& tail)
{
    const qsizetype stemBytes = utf8Size(stem);
    const qsizetype tailBytes = utf8Size(tail);
    if (stemBytes + tailBytes <= kMaxComponentBytes) {
        return stem + tail;
    }
    if (tailBytes >= kMaxComponentBytes) {
        return prefixWithin(stem + tail, kMaxComponentBytes);
    }
    return prefixWithin(stem, kMaxComponentBytes - tailBytes) + tail;
}

QString FileNameLimit::fitPath(const QString& path)
{
    if (utf8Size(path) <= kMaxComponentBytes) {
        return path; // no component can be too long
    }
    QStringList components = path.split(QLatin1Char('/'));
    for (qsizetype i = 0; i + 1 < components.size(); ++i) {
        components[i] = fit(components[i]);
    }
    QString& last = components.last();
    const qsizetype dot = last.lastIndexOf(QLatin1Char('.'));
    last = dot > 0 ? fit(last.left(dot), last.mid(dot)) : fit(last);
    return components.join(QLatin1Char('/'));
}
