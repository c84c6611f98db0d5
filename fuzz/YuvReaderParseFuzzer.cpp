// The opened-file list restored from any settings text: the input becomes
// the stored value of "KEY_YUV_PARSE_1" in a settings store of its own, the
// list reads it, drops an entry, saves itself and is read back, which must
// give the same entries.

#include "FuzzCheck.h"
#include "FuzzInput.h"
#include "settings/YuvReaderParse.h"

#include <QByteArray>
#include <QDir>
#include <QSettings>
#include <QString>
#include <QtGlobal>

#include <cstdlib>
#include <string>

#include <unistd.h>

namespace {

using lumo_fuzz::Check;

void Quiet(QtMsgType, const QMessageLogContext&, const QString&) {}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    // In memory where possible (/dev/shm): every input is written and read back.
    const QString base = QDir("/dev/shm").exists() ? QString("/dev/shm") : QDir::tempPath();
    static const QString store = base + "/lumo-fuzz-settings-" + QString::number(getpid());
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, store);
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, store);
    qInstallMessageHandler(Quiet);
    std::atexit([] { QDir(store).removeRecursively(); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    lumo_fuzz::FuzzInput in(data, size);
    const int drop = in.InRange(-1, 8, 1);
    {
        QSettings settings("MediaLumo", "YUVLumo");
        settings.setValue("KEY_YUV_PARSE_1",
                          QString::fromUtf8(reinterpret_cast<const char*>(in.Rest()),
                                            static_cast<int>(in.RestSize())));
    }
    YuvReaderParse list;
    list.ReadFromFile();
    const int before = list.GetSize();
    list.Remove(drop);
    const int kept = list.GetSize();
    Check(kept == before - (drop >= 0 && drop < before ? 1 : 0));
    for (int i = 0; i < kept; ++i) {
        Check(list.GetReader(i) != nullptr);
        list.GetReader(i)->GetFrameLen();
    }
    Check(list.GetReader(kept) == nullptr && list.GetReader(-1) == nullptr);
    list.SaveToFile();

    YuvReaderParse again;
    again.ReadFromFile();
    Check(again.GetSize() == kept);
    for (int i = 0; i < kept; ++i) {
        const lumo::YUVReader* a = list.GetReader(i);
        const lumo::YUVReader* b = again.GetReader(i);
        Check(a->path == b->path && a->width == b->width && a->height == b->height &&
              a->type == b->type);
    }
    return 0;
}
