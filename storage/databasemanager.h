#pragma once

#include <QObject>
#include <QSqlDatabase>
#include <QString>

// Owns the application's single SQLite file. Everyone else reaches it through
// the default connection that openDatabase() installs.
class DatabaseManager : public QObject {
    Q_OBJECT
public:
    explicit DatabaseManager(QObject* parent = nullptr);

    bool openDatabase();
    bool deleteDatabase();
    QString databaseName() const;

    static QString databasePath();

private:
    bool initializeDatabaseIfNeeded();
    bool failCreation();

    QSqlDatabase db;
    // Whether this start created the file, and so may remove it again.
    bool createdFile = false;
};
