#ifndef LUMO_TESTS_SETTINGSSCOPE_H
#define LUMO_TESTS_SETTINGSSCOPE_H

#include <QSettings>
#include <QTemporaryDir>

namespace lumo_test {

// Gives one test a settings store of its own, in a fresh temporary folder.
class SettingsScope {
public:
    SettingsScope()
    {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, dir.path());
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, dir.path());
    }

    QString Path() const { return dir.path(); }

private:
    QTemporaryDir dir;
};

} // namespace lumo_test

#endif
