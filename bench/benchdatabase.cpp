#include "benchdatabase.h"

#include <QSqlDatabase>
#include <QSqlQuery>

#include "databasemanager.h"

bool BenchDatabase::fill(int count) {
    bool ok = true;
    {
        DatabaseManager database;
        ok = database.openDatabase();
        QSqlDatabase db = QSqlDatabase::database();
        QSqlQuery query(db);
        ok = ok && query.exec(QStringLiteral("DELETE FROM tasks")) &&
             query.exec(QStringLiteral("DELETE FROM alarms"));
        db.transaction();
        for (int i = 1; ok && i <= count; ++i) {
            const int type = i % 3 == 0 ? 1 : 2;
            ok = query.exec(QStringLiteral("INSERT INTO tasks VALUES (%1, 'Task %2', %3, %4, "
                                           "'2026-05-01', '08:30')")
                                .arg(i)
                                .arg(i, 4, 10, QLatin1Char('0'))
                                .arg(i % 2)
                                .arg(type)) &&
                 query.exec(QStringLiteral("INSERT INTO alarms (task_id, is_before, units, "
                                           "unit_type, description) VALUES (%1, 1, 10, 0, 'soon'), "
                                           "(%1, 0, 1, 1, '')")
                                .arg(i));
            if (ok && type == 2) {
                ok = query.exec(QStringLiteral("INSERT INTO repetitions (task_id, repeat_type, "
                                               "repeat_units, repeat_stop_date, "
                                               "repeat_interval_type, repeat_interval_units, "
                                               "extra_data) VALUES (%1, 2, 0, '', 3, 1, 'W:1:4')")
                                    .arg(i));
            }
        }
        db.commit();
        db.close();
    }
    QSqlDatabase::removeDatabase(QString::fromLatin1(QSqlDatabase::defaultConnection));
    return ok;
}
