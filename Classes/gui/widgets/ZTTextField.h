#pragma once
// A text field of the metadata editor that says when it gets the keyboard
// focus, so that the editor can give the focus back to the same field after
// moving to the previous or next row. It carries the metadata field it
// shows and a numeric tag (the six numeric fields have 6 and 9 to 13; the
// others 0).
//
// Main thread.

#include "AudioMetadata.h"

#include <QLineEdit>

class ZTTextField : public QLineEdit
{
    Q_OBJECT
public:
    ZTTextField(AudioMetadata::Field field, int tag, QWidget* parent = nullptr);

    AudioMetadata::Field field() const { return m_field; }
    int tag() const { return m_tag; }

Q_SIGNALS:
    // The field became the focus widget ("MyControlDidBecomeFirstResponderNotification").
    void controlDidBecomeFirstResponder(ZTTextField* control);

protected:
    void focusInEvent(QFocusEvent* event) override;

private:
    const AudioMetadata::Field m_field;
    const int m_tag;
};
