#include "localzone.h"

#include <QByteArray>

#include <ctime>
#include <tuple>

#include <sys/stat.h>

namespace {

struct FileState {
    dev_t device = 0;
    ino_t inode = 0;
    time_t modified = 0;
    long modifiedNs = 0;
    off_t size = -1;

    bool operator==(const FileState& other) const {
        return std::tie(device, inode, modified, modifiedNs, size) ==
               std::tie(other.device, other.inode, other.modified, other.modifiedNs, other.size);
    }
};

// Two spellings of one path: a different TZ text is what makes the C library read
// the file again. Replacing the value of a set variable leaves the environment's
// array in place, unlike adding or removing one.
QByteArray spelling(const QByteArray& file, bool other) {
    if (!other) {
        return ':' + file;
    }
    const int slash = file.lastIndexOf('/');
    return ':' + file.left(slash + 1) + "./" + file.mid(slash + 1);
}

} // namespace

void LocalZone::refresh() {
    static const QByteArray systemFile("/etc/localtime");
    refresh(systemFile);
}

void LocalZone::refresh(const QByteArray& zoneFile) {
    static FileState known;
    static QByteArray knownFile;
    const QByteArray given = qgetenv("TZ");
    const bool set = qEnvironmentVariableIsSet("TZ");
    const QByteArray first = spelling(zoneFile, false);
    const QByteArray second = spelling(zoneFile, true);
    if (set && given != first && given != second) {
        return;
    }
    struct stat status {};
    FileState now;
    // Follows a link, so that pointing /etc/localtime elsewhere counts as a change.
    if (::stat(zoneFile.constData(), &status) == 0) {
        now = {status.st_dev, status.st_ino, status.st_mtim.tv_sec, status.st_mtim.tv_nsec,
               status.st_size};
    }
    if (set && knownFile == zoneFile && now == known) {
        return;
    }
    known = now;
    knownFile = zoneFile;
    qputenv("TZ", given == first ? second : first);
    tzset();
}
