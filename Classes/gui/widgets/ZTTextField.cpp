#include "ZTTextField.h"

ZTTextField::ZTTextField(AudioMetadata::Field field, int tag, QWidget* parent)
    : QLineEdit(parent), m_field(field), m_tag(tag)
{
    setObjectName(AudioMetadata::fieldName(field));
}

void ZTTextField::focusInEvent(QFocusEvent* event)
{
    QLineEdit::focusInEvent(event);
    Q_EMIT controlDidBecomeFirstResponder(this);
}
