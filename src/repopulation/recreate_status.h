#pragma once

#include "mailbox/moves.h"
#include "platform/platform.h"

#include <QDialog>
#include <QLabel>
#include <QTimer>

namespace rehome::repopulation {

/// A number of seconds, not negative, as "hh:mm:ss".
QString FormatTime(qint32 seconds);

/// Opens each moved mailbox once a second until all have opened, and gives up after 1320 ticks.
class frmRecreateMailboxStatus final : public QDialog {
    Q_OBJECT

public:
    /// `platform` must outlive the dialog.
    frmRecreateMailboxStatus(const platform::Platform& platform, QWidget* parent);

    /// Takes the mailboxes; they must outlive the dialog.
    void Prepare(const mailbox::Mailboxes& Mailboxes);
    bool IsSuccessful() const { return m_succeeded; }

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void Form_Activate();
    void tmrElapsed_Timer();
    /// Restores the address where it has changed and opens the mailbox. Any failure is worth
    /// another attempt and gives false.
    bool RepopulateMailbox(const mailbox::MailboxUser& record);
    void showRecreated();
    void giveUp();
    QLabel* label(const char* name, const QString& text, int left, int top, int width);

    const platform::Platform& m_platform;
    const mailbox::Mailboxes* m_targetMailboxes = nullptr;
    mailbox::Mailboxes m_repopulatedMailboxes;
    qint32 m_elapsedSeconds = 0;
    bool m_succeeded = false;
    QLabel* m_lblRecreated;
    QLabel* m_lblTotal;
    QLabel* m_lblElapsedTime;
    QTimer m_tmrElapsed;
};

} // namespace rehome::repopulation
