// Gives each file of the folder that is named by the only argument to the target, once.

#include "fuzz.h"

#include <QByteArray>
#include <QDir>
#include <QFile>

int main(int argc, char **argv)
{
    const QDir corpus(argc == 2 ? QString::fromLocal8Bit(argv[1]) : QString());
    const QStringList names = corpus.entryList(QDir::Files);
    for (const QString &name : names) {
        QFile file(corpus.filePath(name));
        if (!file.open(QFile::ReadOnly))
            return EXIT_FAILURE;
        const QByteArray bytes = file.readAll();
        std::fprintf(stderr, "%s\n", qPrintable(name));
        LLVMFuzzerTestOneInput(
            reinterpret_cast<const std::uint8_t *>(bytes.constData()), std::size_t(bytes.size()));
    }
    return names.isEmpty() ? EXIT_FAILURE : EXIT_SUCCESS;
}
