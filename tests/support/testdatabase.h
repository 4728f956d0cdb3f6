#pragma once

#include <QString>
#include <QStringList>
#include <QVariant>
#include <QVector>

// Helpers around the application's default SQLite connection.
namespace TestDatabase {

// A new, empty home folder named `name` under the test's root, made HOME.
QString freshHome(const QString& name);
// Forgets the default connection so that the next DatabaseManager opens anew.
void dropDefaultConnection();
// Runs `sql` on the default connection and returns every row; fails the test on error.
QVector<QVariantList> rows(const QString& sql);
bool exec(const QString& sql);
// Creates a file with `statements` run in it, through a connection of its own.
bool prepareFile(const QString& path, const QStringList& statements);

} // namespace TestDatabase

// Records the text of every statement SQLite runs on the default connection, as written
// (with its parameters) and with the bound values filled in.
class SqlTrace {
public:
    SqlTrace();
    ~SqlTrace();

    QStringList statements() const { return recorded; }
    QStringList withValues() const { return expanded; }
    void clear() {
        recorded.clear();
        expanded.clear();
    }
    void add(const QString& statement, const QString& withValues) {
        recorded.append(statement);
        expanded.append(withValues);
    }

private:
    QStringList recorded;
    QStringList expanded;
    void* handle = nullptr;
};
