#pragma once
// The cover area of the metadata editor: shows the cover of the selected
// rows (scaled to fit, keeping its proportions) or, instead of it, a text
// such as "Drop Artwork For 3 Files", and takes drops of covers.
//
// A drop is tried, in this order, as a file list (its first local file), as
// an address (a URL in the list, or text that parses as one), and as
// picture data (TIFF first, then any other picture type offered). Every
// drop is accepted, also one nobody could use: the delegate decides, and
// beeps when it must. Delete or Backspace while the area has the focus
// empties it (imageDeleted).
//
// The delegate is not owned and must outlive the view, or be reset to null.
// Main thread.

#include <QFrame>
#include <QPixmap>

class QLabel;
class ZTAlbumArtworkDropViewDelegate;

class ZTAlbumArtworkDropView : public QFrame
{
    Q_OBJECT
public:
    explicit ZTAlbumArtworkDropView(QWidget* parent = nullptr);

    void setDelegate(ZTAlbumArtworkDropViewDelegate* delegate) { m_delegate = delegate; }

    // The picture shown; a null pixmap shows none.
    void setImage(const QPixmap& image);
    const QPixmap& image() const { return m_image; }

    // The text shown over the empty area.
    QLabel* dropTextLabel() const { return m_dropText; }

    QSize sizeHint() const override;

Q_SIGNALS:
    // The user emptied the area.
    void imageDeleted();

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    ZTAlbumArtworkDropViewDelegate* m_delegate = nullptr;
    QPixmap m_image;
    QLabel* m_dropText = nullptr;
};
