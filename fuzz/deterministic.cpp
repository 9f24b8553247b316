#include "FuzzTarget.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>

#include <cstdio>
#include <vector>

namespace {

QByteArray mutated(QByteArray input, const QList<QByteArray>& seeds, QRandomGenerator& random)
{
    for (int edits = random.bounded(1, 6); edits > 0; --edits) {
        const qsizetype position = random.bounded(static_cast<int>(input.size()) + 1);
        const QByteArray& seed = seeds[random.bounded(static_cast<int>(seeds.size()))];
        switch (random.bounded(4)) {
        case 0:
            input.insert(position, static_cast<char>(random.bounded(256)));
            break;
        case 1:
            input.remove(position, random.bounded(1, 8));
            break;
        case 2:
            input.insert(position, seed.mid(random.bounded(static_cast<int>(seed.size()) + 1), random.bounded(1, 24)));
            break;
        default:
            if (position < input.size())
                input[position] = static_cast<char>(random.bounded(256));
        }
    }
    return input;
}

void tryInput(const QByteArray& input)
{
    // A copy of exactly this size lets a sanitizer see a read beyond it.
    const std::vector<std::uint8_t> bytes(input.begin(), input.end());
    LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

} // namespace

/// Runs a target without a fuzzing engine on the same mutations each time: `fuzz_<target> SEED-FOLDER COUNT`.
int main(int argc, char* argv[])
{
    if (argc != 3)
        qFatal("usage: %s SEED-FOLDER COUNT", argv[0]);
    const QDir directory(QString::fromLocal8Bit(argv[1]));
    QList<QByteArray> seeds;
    for (const QString& name : directory.entryList(QDir::Files, QDir::Name)) {
        QFile file(directory.filePath(name));
        if (file.open(QIODevice::ReadOnly))
            seeds.append(file.readAll());
    }
    if (seeds.isEmpty())
        qFatal("there are no seeds in %s", argv[1]);
    for (const QByteArray& seed : std::as_const(seeds))
        tryInput(seed);
    QRandomGenerator random(1);
    const int count = QByteArray(argv[2]).toInt();
    for (int i = 0; i < count; ++i)
        tryInput(mutated(seeds[i % seeds.size()], seeds, random));
    std::printf("%d inputs tried\n", count);
    return 0;
}
