#ifndef GUILOGCAPTURE_H
#define GUILOGCAPTURE_H

#include <QStringList>
#include <QtGlobal>

// Collects the debug lines written to the "QGuiLog" category while it lives;
// every other message goes on to the handler that was installed before.
class GuiLogCapture
{
public:
    GuiLogCapture()
    {
        s_lines.clear();
        s_previous = qInstallMessageHandler(&GuiLogCapture::handle);
    }
    ~GuiLogCapture() { qInstallMessageHandler(s_previous); }

    QStringList lines() const { return s_lines; }

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &message)
    {
        if (type == QtDebugMsg && qstrcmp(context.category, "QGuiLog") == 0)
            s_lines.append(message);
        else if (s_previous)
            s_previous(type, context, message);
    }

    static inline QStringList s_lines;
    static inline QtMessageHandler s_previous = nullptr;
};

#endif
