#pragma once

#include <QApplication>
#include <QtTest>

#include <memory>

#include "privatebus.h"
#include "testenvironment.h"

// Every test binary sets up its private world before the application object
// exists, so nothing (HOME, the bus address, the platform) can leak in.
#define PARDO_TEST_MAIN_IMPL(TestObject, withBus)                                                  \
    int main(int argc, char** argv) {                                                              \
        TestEnvironment environment;                                                               \
        std::unique_ptr<PrivateBus> bus;                                                           \
        if (withBus) {                                                                             \
            bus = std::make_unique<PrivateBus>(environment.root() + QStringLiteral("/bus"));       \
            if (!bus->isRunning())                                                                 \
                qFatal("could not start a private dbus-daemon");                                   \
            bus->exportAddress();                                                                  \
        }                                                                                          \
        QApplication app(argc, argv);                                                              \
        TestObject tc;                                                                             \
        return QTest::qExec(&tc, argc, argv);                                                      \
    }

#define PARDO_TEST_MAIN(TestObject) PARDO_TEST_MAIN_IMPL(TestObject, false)
#define PARDO_DBUS_TEST_MAIN(TestObject) PARDO_TEST_MAIN_IMPL(TestObject, true)

// For scenarios that end the process (exit codes): the test starts its own
// binary again with "--child NAME", and TestObject::runChild(NAME) plays it.
#define PARDO_TEST_MAIN_WITH_CHILD(TestObject)                                                     \
    int main(int argc, char** argv) {                                                              \
        if (argc > 2 && qstrcmp(argv[1], "--child") == 0) {                                        \
            /* The parent has set up the environment already. */                                   \
            QApplication app(argc, argv);                                                          \
            return TestObject::runChild(QString::fromLocal8Bit(argv[2]));                          \
        }                                                                                          \
        TestEnvironment environment;                                                               \
        QApplication app(argc, argv);                                                              \
        TestObject tc;                                                                             \
        return QTest::qExec(&tc, argc, argv);                                                      \
    }
