#include "repopulation/recreate_status.h"

#include "platform/twips.h"

#include <QCoreApplication>
#include <QKeyEvent>

#include <chrono>

namespace rehome::repopulation {

namespace {

constexpr qint32 TickLimit = 1320;

} // namespace

QString FormatTime(qint32 seconds) {
    const auto digits = [](qint32 number) {
        return QStringLiteral("%1").arg(number, 2, 10, QLatin1Char('0'));
    };
    return digits(seconds / 3600) + u':' + digits(seconds % 3600 / 60) + u':' +
           digits(seconds % 60);
}

frmRecreateMailboxStatus::frmRecreateMailboxStatus(const platform::Platform& platform,
                                                   QWidget* parent)
    : QDialog(parent), m_platform(platform) {
    setObjectName(QStringLiteral("frmRecreateMailboxStatus"));
    setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                   Qt::WindowCloseButtonHint);
    setWindowTitle(QStringLiteral("Mailbox drop & recreation status"));
    setFixedSize(platform::toPixels(5865), platform::toPixels(1530));

    // The labels are made for a face a trifle narrower than today's.
    QFont narrow = font();
    narrow.setLetterSpacing(QFont::PercentageSpacing, 97);
    setFont(narrow);
    QLabel* heading =
        label("Label1", QStringLiteral("Please wait, repopulating mailboxes to Exchange store..."),
              120, 120, 5655);
    QFont bold = heading->font();
    bold.setFamilies({QStringLiteral("Arial"), QStringLiteral("Liberation Sans")});
    bold.setBold(true);
    heading->setFont(bold);
    label("Label2", QStringLiteral("Repopulated:"), 1320, 720, 975);
    m_lblRecreated = label("lblRecreated", QStringLiteral("0"), 2385, 720, 615);
    label("Label3", QStringLiteral("Of"), 3360, 720, 255);
    m_lblTotal = label("lblTotal", QStringLiteral("0"), 3705, 720, 735);
    label("Label4", QStringLiteral("Elapsed time:"), 2145, 1200, 975);
    m_lblElapsedTime = label("lblElapsedTime", FormatTime(0), 3225, 1200, 720);

    m_lblRecreated->setAccessibleDescription(QStringLiteral("Mailboxes repopulated"));
    m_lblTotal->setAccessibleDescription(QStringLiteral("Mailboxes to repopulate"));
    m_lblElapsedTime->setAccessibleDescription(QStringLiteral("Elapsed time"));

    m_tmrElapsed.setObjectName(QStringLiteral("tmrElapsed"));
    m_tmrElapsed.setParent(this);
    connect(&m_tmrElapsed, &QTimer::timeout, this,
            [this] { platform::runHandler(m_platform.Desktop, [this] { tmrElapsed_Timer(); }); });
}

QLabel* frmRecreateMailboxStatus::label(const char* name, const QString& text, int left, int top,
                                        int width) {
    auto* made = new QLabel(text, this);
    made->setObjectName(QLatin1String(name));
    made->setTextFormat(Qt::PlainText);
    made->setGeometry(platform::toPixels(left, top, width, 255));
    return made;
}

void frmRecreateMailboxStatus::Prepare(const mailbox::Mailboxes& Mailboxes) {
    m_targetMailboxes = &Mailboxes;
    m_repopulatedMailboxes = {};
    m_lblTotal->setText(QString::number(Mailboxes.Count()));
    m_platform.Journal.Expect(platform::Work::Openings, int(Mailboxes.Count()));
    showRecreated();
    m_succeeded = false;
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

void frmRecreateMailboxStatus::Form_Activate() {
    m_elapsedSeconds = 0;
    m_tmrElapsed.setInterval(std::chrono::milliseconds(1000));
    m_tmrElapsed.start();
}

void frmRecreateMailboxStatus::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    if (!event->spontaneous())
        Form_Activate();
}

void frmRecreateMailboxStatus::hideEvent(QHideEvent* event) {
    // Iconified by the window manager, alone or with the main window, the dialog goes on.
    if (!event->spontaneous())
        m_tmrElapsed.stop();
    QDialog::hideEvent(event);
}

void frmRecreateMailboxStatus::keyPressEvent(QKeyEvent* event) {
    if (event->matches(QKeySequence::Cancel))
        event->accept();
    else
        QDialog::keyPressEvent(event);
}

bool frmRecreateMailboxStatus::RepopulateMailbox(const mailbox::MailboxUser& record) {
    try {
        const QString current = record.GetRealMail();
        if (current.isEmpty())
            throw Error(QStringLiteral("the user has no e-mail address, or it cannot be read"));
        if (record.GetMail() != current)
            record.UpdateEmail();
        const QString url = QStringLiteral("mailto:") + record.GetRealMail();
        const auto person = m_platform.Exchange.CreatePerson();
        person->DataSource().Open(url);
        person->Mailbox().FolderLocation();
        m_platform.Journal.Tell(platform::Event::Opened, QStringLiteral("opened"), record.label());
        return true;
    } catch (const std::exception& error) {
        m_platform.Journal.Tell(platform::Event::NotOpened,
                                QStringLiteral("not opened: ") + describe(error), record.label());
        return false;
    }
}

void frmRecreateMailboxStatus::tmrElapsed_Timer() {
    m_platform.Exchange.BeginRound();
    for (const auto& record : *m_targetMailboxes) {
        if (!topology::CollectionContains(record->GetID(), m_repopulatedMailboxes) &&
            RepopulateMailbox(*record))
            m_repopulatedMailboxes.Add(record, record->GetID());
    }
    if (m_repopulatedMailboxes.Count() == m_targetMailboxes->Count()) {
        m_tmrElapsed.stop();
        m_succeeded = true;
        hide();
        return;
    }
    showRecreated();
    ++m_elapsedSeconds;
    if (m_elapsedSeconds <= TickLimit)
        m_lblElapsedTime->setText(FormatTime(m_elapsedSeconds));
    else
        giveUp();
}

void frmRecreateMailboxStatus::showRecreated() {
    m_lblRecreated->setText(QString::number(m_repopulatedMailboxes.Count()));
    // Screen readers say a change of the window's description, but none of a label.
    setAccessibleDescription(
        QStringLiteral("Repopulated: %1 Of %2").arg(m_lblRecreated->text(), m_lblTotal->text()));
}

void frmRecreateMailboxStatus::giveUp() {
    m_tmrElapsed.stop();
    m_platform.Journal.Tell(platform::Event::GivenUp,
                            QStringLiteral("gave up with %1 of %2 mailboxes opened")
                                .arg(m_repopulatedMailboxes.Count())
                                .arg(m_targetMailboxes->Count()));
    m_platform.Desktop.Show(
        {QStringLiteral("Fatal:Failed to recreate mailbox in specified timeframe"),
         platform::Buttons::Ok, platform::Icon::Critical, QString()});
    hide();
}

} // namespace rehome::repopulation
