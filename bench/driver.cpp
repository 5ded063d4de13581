// Linked into a program of the tool, it drives the main window as a person would. It knows nothing
// of the tool but the names of its controls. It reads commands from the standard input, one a line,
// its words parted by tabs, and answers each with one line of JSON:
//
//   refresh               presses Refresh: how long until the list is painted
//   move SOURCE DEST      moves a store's mailboxes: how long from the question's answer to the
//                         outcome, and what the boxes said
//   scroll FRAMES         turns the wheel: how long each frame took
//   memory                what is in use of the heap
//   online                how many mailboxes' stores are
//
// When the list is painted for the first time, it tells unasked when the window was begun. The end
// of the input ends the program.

#include <QAbstractItemModel>
#include <QAbstractItemView>
#include <QApplication>
#include <QComboBox>
#include <QDeadlineTimer>
#include <QDialog>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QSocketNotifier>
#include <QTest>
#include <QTimer>
#include <QWheelEvent>

#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

using namespace Qt::Literals::StringLiterals;

#ifdef __SANITIZE_ADDRESS__
// Of the sanitizer's run-time library; Debian's gcc comes without the header.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

namespace {

[[noreturn]] void giveUp(const QString& reason) {
    std::fprintf(stderr, "bench: %s\n", qPrintable(reason));
    std::fflush(nullptr);
    std::_Exit(EXIT_FAILURE);
}

class Driver : public QObject {
public:
    Driver() {
        m_clock.start();
        qApp->installEventFilter(this);
    }

    bool eventFilter(QObject* watched, QEvent* event) override {
        if (m_begun < 0 && watched->isWidgetType() && watched->objectName() == "frmMain"_L1)
            m_begun = milliseconds();
        if (event->type() == QEvent::Paint)
            painted(*watched);
        if (event->type() == QEvent::Show && watched->objectName() == "messageBox"_L1)
            shown(*qobject_cast<QDialog*>(watched));
        return false;
    }

private:
    double milliseconds() const { return double(m_clock.nsecsElapsed()) / 1e6; }

    void painted(const QObject& part) {
        auto* grid = qobject_cast<QAbstractItemView*>(part.parent());
        if (!grid || grid->viewport() != &part || grid->objectName() != "msfgMain"_L1)
            return;
        ++m_paints;
        if (m_grid)
            return;
        m_grid = grid;
        // Once the frame is out.
        QTimer::singleShot(0, this, [this] {
            answer({{u"begun"_s, m_begun}});
            auto* input = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, this);
            connect(input, &QSocketNotifier::activated, this, [this] { command(); });
        });
    }

    void shown(QDialog& box) {
        m_lastShown = milliseconds();
        const auto* text = box.findChild<QLabel*>(u"messageText"_s);
        m_boxes.append(text ? text->text() : QString());
        QTimer::singleShot(0, &box, [this, &box] {
            auto* first = box.findChild<QPushButton*>();
            if (!first)
                giveUp(u"a message box without a button"_s);
            if (m_firstAnswered < 0)
                m_firstAnswered = milliseconds();
            QTest::mouseClick(first, Qt::LeftButton);
        });
    }

    void answer(QJsonObject reply) {
        reply.insert(u"rows"_s, m_grid->model()->rowCount());
        std::puts(QJsonDocument(reply).toJson(QJsonDocument::Compact).constData());
        std::fflush(stdout);
    }

    void command() {
        std::string line;
        if (!std::getline(std::cin, line)) {
            std::fflush(nullptr);
            std::_Exit(EXIT_SUCCESS);
        }
        const QStringList words = QString::fromStdString(line).split(u'\t');
        const QString& verb = words.constFirst();
        if (verb == u"refresh")
            refresh();
        else if (verb == u"move")
            move(words.value(1), words.value(2));
        else if (verb == u"scroll")
            scroll(words.value(1).toInt());
        else if (verb == u"online")
            online();
        else if (verb == u"memory")
            memory();
        else
            giveUp(u"unknown command "_s + verb);
    }

    template <class Control>
    Control& control(const QString& name) const {
        auto* found = m_grid->window()->findChild<Control*>(name);
        if (!found)
            giveUp(u"there is no control "_s + name);
        return *found;
    }

    void waitForPaint(int before) const {
        const QDeadlineTimer limit(60'000); // far beyond what lost servers may cost
        while (m_paints == before) {
            if (limit.hasExpired())
                giveUp(u"the list is not painted"_s);
            QCoreApplication::processEvents(QEventLoop::AllEvents);
        }
    }

    void refresh() {
        auto& button = control<QPushButton>(u"btnRefresh"_s);
        // Whatever the last command has left to do is not this one's.
        QCoreApplication::processEvents();
        const int before = m_paints;
        const double start = milliseconds();
        QTest::mouseClick(&button, Qt::LeftButton);
        waitForPaint(before);
        const double end = milliseconds();
        if (!button.isEnabled() || !m_boxes.isEmpty())
            giveUp(u"the refresh has failed: "_s + m_boxes.join(u'\n'));
        answer({{u"ms"_s, end - start}});
    }

    void pick(const QString& list, const QString& text) const {
        auto& combo = control<QComboBox>(list);
        const int row = combo.findText(text);
        if (row < 0)
            giveUp(list + u" has no item "_s + text);
        QTest::mouseClick(&combo, Qt::LeftButton, {}, {combo.width() - 8, combo.height() / 2});
        const QModelIndex item = combo.model()->index(row, 0);
        combo.view()->scrollTo(item);
        QTest::mouseClick(combo.view()->viewport(), Qt::LeftButton, {},
                          combo.view()->visualRect(item).center());
    }

    void move(const QString& source, const QString& destination) {
        QTest::mouseClick(&control<QRadioButton>(u"rdoFromStore"_s), Qt::LeftButton);
        pick(u"comboSourceMBx"_s, source);
        pick(u"comboDestMBx"_s, destination);
        m_firstAnswered = -1;
        const int before = m_paints;
        QTest::mouseClick(&control<QPushButton>(u"btnMove"_s), Qt::LeftButton);
        waitForPaint(before);
        answer({{u"ms"_s, m_lastShown - m_firstAnswered},
                {u"boxes"_s, QJsonArray::fromStringList(std::exchange(m_boxes, {}))}});
    }

    void scroll(int frames) {
        QWidget& area = *m_grid->viewport();
        const QPointF middle = area.rect().center();
        QJsonArray each;
        for (int i = 0; i < frames; ++i) {
            QCoreApplication::processEvents();
            const int before = m_paints;
            const int place = m_grid->verticalScrollBar()->value();
            const double start = milliseconds();
            // A refresh leaves the list at its end.
            QWheelEvent turn(middle, area.mapToGlobal(middle), {}, {0, i < frames / 2 ? 120 : -120},
                             {}, {}, Qt::NoScrollPhase, false);
            QCoreApplication::sendEvent(&area, &turn);
            waitForPaint(before);
            each.append(milliseconds() - start);
            if (m_grid->verticalScrollBar()->value() == place)
                giveUp(u"the wheel does not scroll the list"_s);
        }
        answer({{u"each"_s, each}});
    }

    void online() {
        const QAbstractItemModel& rows = *m_grid->model();
        int count = 0;
        for (int row = 0; row < rows.rowCount(); ++row)
            count += rows.index(row, rows.columnCount() - 1).data().toString() == u"Online";
        answer({{u"online"_s, count}});
    }

    void memory() {
#ifdef __SANITIZE_ADDRESS__
        const auto bytes = __sanitizer_get_current_allocated_bytes();
#else
        const auto heap = mallinfo2();
        const auto bytes = heap.uordblks + heap.hblkhd;
#endif
        answer({{u"bytes"_s, double(bytes)}});
    }

    QElapsedTimer m_clock;
    double m_begun = -1;
    QAbstractItemView* m_grid = nullptr;
    int m_paints = 0;
    QStringList m_boxes;
    double m_firstAnswered = -1;
    double m_lastShown = -1;
};

void drive() {
    static Driver driver;
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(drive)
