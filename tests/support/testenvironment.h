#pragma once

#include <QString>
#include <QTemporaryDir>

// A private world for one test process: fresh HOME and XDG folders, offscreen
// widgets (unless another platform is named), a pinned locale, and no way to
// reach the real session bus.
class TestEnvironment {
public:
    TestEnvironment();

    QString root() const { return dir.path(); }
    QString home() const;
    QString databasePath() const;

    // Points HOME somewhere else (for instance a path SQLite cannot create a file in).
    static void setHome(const QString& path);

    // The environment of this process, set up once in main().
    static TestEnvironment* current();

private:
    QTemporaryDir dir;
};
