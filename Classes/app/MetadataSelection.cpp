#include "MetadataSelection.h"

#include "FileEncodeOperation.h"
#include "NamedException.h"

QString MetadataSelection::textOf(AudioMetadata::Field field, const QVariant& value)
{
    if (!value.isValid()) {
        return {};
    }
    switch (AudioMetadata::kindOf(field)) {
    case AudioMetadata::Kind::Integer:
    case AudioMetadata::Kind::LargeInteger:
        return QString::number(value.toLongLong());
    case AudioMetadata::Kind::Text:
        return value.toString();
    case AudioMetadata::Kind::Real:
    case AudioMetadata::Kind::Date:
    case AudioMetadata::Kind::Artwork:
    case AudioMetadata::Kind::Dictionary:
        break;
    }
    return value.toString();
}

MetadataSelection::Shown MetadataSelection::shown(const QList<FileEncodeOperation*>& rows,
                                                  AudioMetadata::Field field)
{
    Shown result;
    bool first = true;
    for (FileEncodeOperation* row : rows) {
        const QString text = textOf(field, row->metadata()->value(field));
        // Absent and present-but-empty look alike in a text field; telling
        // them apart here would show "several values" over two blank rows.
        if (first) {
            result.text = text;
            first = false;
        } else if (text != result.text) {
            result.text.clear();
            result.multiple = true;
            break;
        }
    }
    return result;
}

QVariant MetadataSelection::valueOf(AudioMetadata::Field field, const QString& text)
{
    if (text.isEmpty()) {
        return {};
    }
    switch (AudioMetadata::kindOf(field)) {
    case AudioMetadata::Kind::Integer: {
        bool ok = false;
        const int number = text.toInt(&ok);
        return ok ? QVariant(number) : QVariant();
    }
    case AudioMetadata::Kind::Text:
        return text;
    case AudioMetadata::Kind::LargeInteger:
    case AudioMetadata::Kind::Real:
    case AudioMetadata::Kind::Date:
    case AudioMetadata::Kind::Artwork:
    case AudioMetadata::Kind::Dictionary:
        break;
    }
    ZT_FAIL("the editor sets only text and integer fields");
}

void MetadataSelection::setText(const QList<FileEncodeOperation*>& rows, AudioMetadata::Field field,
                                const QString& text)
{
    ZT_REQUIRE(field < AudioMetadata::Field::sourceKind, "field is descriptive");
    const QVariant value = valueOf(field, text);
    for (FileEncodeOperation* row : rows) {
        row->metadata()->setValue(field, value);
    }
}
