#ifndef FRAMELINE_H
#define FRAMELINE_H

#include "colours.h"
#include "requestmemory.h"

#include <QDate>
#include <QString>

namespace tarvexctl {

/// The width of the terminal that stdout is, in cells; 0 when it is none.
int terminalWidth();

/// Writes frames as lines for people, in their order. Nothing in them can control the terminal, see visible().
class FrameLines
{
public:
    /// The width of the lines when stdout is no terminal, in cells.
    static constexpr int DEFAULT_WIDTH = 200;
    /// No line is cut to less than this.
    static constexpr int MIN_WIDTH = 60;

    enum Detail {
        OneLine, ///< The data is cut to the width.
        Full     ///< All of the data follows on lines of its own.
    };

    explicit FrameLines(const Palette& palette, Detail detail = OneLine, int width = terminalWidth());

    /// Tells of a frame that may not be shown, so that its reply can say what was asked. Either no frame is told of, or
    /// every one, before its text.
    void note(const tarvex::traffic::SeenFrame& frame);

    /// The frame, with a line end. A line with the date comes before it when the day is another than that of the frame
    /// before. Times are local.
    QString text(const tarvex::traffic::SeenFrame& frame);

private:
    QString dateLine(const tarvex::traffic::SeenFrame& frame);
    QString head(const tarvex::traffic::SeenFrame& frame);
    QString what(const tarvex::traffic::SeenFrame& frame) const;
    QString replyWords(const tarvex::traffic::SeenFrame& frame) const;

    const Palette m_palette;
    const Detail m_detail;
    const int m_width;
    int m_routeWidth = 0;
    QDate m_date;
    bool m_areNoted = false;
    RequestMemory m_requests;
};

} // namespace tarvexctl

#endif // FRAMELINE_H
