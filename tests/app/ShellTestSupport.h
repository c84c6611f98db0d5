#ifndef LUMO_TESTS_SHELLTESTSUPPORT_H
#define LUMO_TESTS_SHELLTESTSUPPORT_H

// Helpers of the application window tests: modal boxes and dialogs answered
// as a user would, links caught before they reach a browser, and accounts
// on the test service.

#include "ViewTestSupport.h"

#include "analysis/LumoImageView.h"
#include "online/ServiceRequest.h"

#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLineEdit>
#include <QMessageBox>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QObject>
#include <QPointer>
#include <QPushButton>
#include <QSettings>
#include <QTimer>
#include <QUrl>

#include <functional>
#include <vector>

#include <sys/inotify.h>
#include <unistd.h>

namespace shell_test {

// Answers every message box that opens with its OK (or default) button and
// remembers its title and text, in order.
class MessageBoxWatcher : public QObject {
    Q_OBJECT

public:
    MessageBoxWatcher()
    {
        connect(&timer, &QTimer::timeout, this, &MessageBoxWatcher::Answer);
        timer.start(10);
    }

    QStringList texts;
    QStringList titles;

    bool WaitFor(const QString& text, int milliseconds = 20000)
    {
        return view_test::WaitUntil([&] { return texts.contains(text); }, milliseconds);
    }

private slots:
    void Answer()
    {
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            auto* box = qobject_cast<QMessageBox*>(widget);
            if (box == nullptr || !box->isVisible() || box->property("answered").toBool()) {
                continue;
            }
            box->setProperty("answered", true);
            texts.append(box->text());
            titles.append(box->windowTitle());
            QAbstractButton* ok = box->button(QMessageBox::Ok);
            if (ok != nullptr) {
                ok->click();
            } else {
                box->accept();
            }
        }
    }

private:
    QTimer timer;
};

// Runs handler once on the first visible window of type T that shows up
// (a modal dialog runs its own event loop, so it is found from there).
template <typename T>
void WhenShown(const std::function<void(T*)>& handler)
{
    auto* timer = new QTimer(qApp);
    timer->setObjectName("WhenShown");
    QObject::connect(timer, &QTimer::timeout, [timer, handler] {
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            T* found = qobject_cast<T*>(widget);
            if (found != nullptr && found->isVisible()) {
                timer->stop();
                timer->deleteLater();
                handler(found);
                return;
            }
        }
    });
    timer->start(10);
}

// Drops the handlers of WhenShown whose window never showed up, so that
// they cannot act on a later test's windows.
inline void CancelWhenShown()
{
    for (QTimer* timer : qApp->findChildren<QTimer*>("WhenShown", Qt::FindDirectChildrenOnly)) {
        delete timer;
    }
}

// The top-level windows of one type, shown or not.
template <typename T>
std::vector<T*> Windows()
{
    std::vector<T*> windows;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (T* window = qobject_cast<T*>(widget)) {
            windows.push_back(window);
        }
    }
    return windows;
}

// The visible top-level windows of one type.
template <typename T>
std::vector<T*> VisibleWindows()
{
    std::vector<T*> visible;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        T* window = qobject_cast<T*>(widget);
        if (window != nullptr && window->isVisible()) {
            visible.push_back(window);
        }
    }
    return visible;
}

template <typename T>
T* VisibleWindow()
{
    const std::vector<T*> visible = VisibleWindows<T>();
    return visible.empty() ? nullptr : visible.front();
}

// Closes every window a test left and deletes those without a parent
// (the application never deletes the windows it opens), once the
// comparisons of analysis windows have ended.
inline void CloseAllWindows()
{
    CancelWhenShown();
    QList<QPointer<QWidget>> windows;
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        widget->close();
        if (widget->parentWidget() == nullptr) {
            windows.append(widget);
        }
    }
    for (LumoImageView* view : Windows<LumoImageView>()) {
        view_test::WaitUntil([&] { return !view->IsComparing(); }, 60000);
    }
    // Deleting one window may delete others it owns.
    for (const QPointer<QWidget>& window : windows) {
        delete window.data();
    }
    view_test::FlushEvents();
}

// Picks files in a file dialog as a user typing their names would, and
// accepts it; an empty list cancels it.
inline void ChooseFiles(QFileDialog* dialog, const QStringList& paths)
{
    if (paths.isEmpty()) {
        dialog->reject();
        return;
    }
    dialog->setDirectory(QFileInfo(paths.first()).absolutePath());
    QStringList names;
    for (const QString& path : paths) {
        names.append(paths.size() == 1 ? QFileInfo(path).fileName() : "\"" + QFileInfo(path).fileName() + "\"");
    }
    auto* edit = dialog->findChild<QLineEdit*>("fileNameEdit");
    if (edit != nullptr) {
        edit->setText(names.join(' '));
    }
    QMetaObject::invokeMethod(dialog, "accept");
}

// Counts the writes of the settings store's file from its making on. A
// QSettings that has changed writes its whole file when it goes, as a new
// file renamed over the old one, so each rename is one save of one store
// (the store also opens the file for writing without writing to it). The
// renames from the new files are watched too: the kernel merges identical
// events in a row, which two renames to the same name alone would be.
class SettingsWrites {
public:
    SettingsWrites()
        : file(QFileInfo(QSettings("MediaLumo", "YUVLumo").fileName())), fd(inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
    {
        watching = fd >= 0 && inotify_add_watch(fd, file.absolutePath().toLocal8Bit().constData(),
                                                IN_MOVED_FROM | IN_MOVED_TO) >= 0;
    }
    ~SettingsWrites()
    {
        if (fd >= 0) {
            close(fd);
        }
    }
    SettingsWrites(const SettingsWrites&) = delete;
    SettingsWrites& operator=(const SettingsWrites&) = delete;

    // The writes so far (they are recorded as they happen); -1 when the
    // folder could not be watched.
    int Count()
    {
        if (!watching) {
            return -1;
        }
        alignas(inotify_event) char buffer[4096];
        ssize_t got = 0;
        while ((got = read(fd, buffer, sizeof(buffer))) > 0) {
            for (ssize_t at = 0; at < got;) {
                const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
                if ((event->mask & IN_MOVED_TO) != 0 && event->len > 0 &&
                    file.fileName() == QString::fromLocal8Bit(event->name)) {
                    writes++;
                }
                at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            }
        }
        return writes;
    }

private:
    QFileInfo file;
    int fd;
    bool watching = false;
    int writes = 0;
};

// Catches the links the application hands to the desktop's browser.
class UrlCatcher : public QObject {
    Q_OBJECT

public:
    UrlCatcher()
    {
        QDesktopServices::setUrlHandler("https", this, "Open");
        QDesktopServices::setUrlHandler("http", this, "Open");
    }
    ~UrlCatcher() override
    {
        QDesktopServices::unsetUrlHandler("https");
        QDesktopServices::unsetUrlHandler("http");
    }

    QList<QUrl> urls;

public slots:
    void Open(const QUrl& url) { urls.append(url); }
};

// A form post to the service through the application's own request
// builder, answered within the limit; the answer's JSON object (empty on a
// network error).
inline QJsonObject PostToService(const QString& path, const QList<QPair<QString, QString>>& fields,
                                 int milliseconds = 20000)
{
    QNetworkAccessManager manager;
    QNetworkReply* reply = ServiceRequest::Post(&manager, path, ServiceRequest::FormBody(fields));
    view_test::WaitUntil([&] { return reply->isFinished(); }, milliseconds);
    const QJsonObject answer =
        reply->error() == QNetworkReply::NoError ? QJsonDocument::fromJson(reply->readAll()).object() : QJsonObject();
    delete reply;
    return answer;
}

// Signs in through the service's API and stores the session as the login
// window would; the token, or an empty text.
inline QString SignIn(const QString& email, const QString& password)
{
    const QJsonObject answer = PostToService("/lumo/user/login/login", {{"email", email}, {"password", password}});
    const QString token = answer.value("model").toObject().value("token").toString();
    QSettings settings("MediaLumo", "YUVLumo");
    settings.setValue("TOKEN", token);
    settings.setValue("EMAIL", email);
    return token;
}

} // namespace shell_test

#endif
