#include "CutLists/CutListError.h"
#include "CutLists/CutListKinds.h"
#include "CutLists/KestrelList.h"
#include "FuzzTarget.h"
#include "Models/JsonObjectReader.h"

#include <cmath>

namespace {

CutList someFilm(unsigned choice)
{
    CutList film;
    film.duration = 100;
    if (choice % 4 != 0) {
        film.rate = choice % 4 == 1 ? FrameRate{25, 1} : FrameRate{30000, 1001};
        film.pictureCount = 2500;
    }
    if (choice % 4 == 3)
        film.startTimecode = StartTimecode{107'892, true};
    return film;
}

/// What was read can be reckoned with, and what is written of it is read again.
void tryKind(const CutListKind& kind, const QByteArray& text, const CutList& film)
{
    CutList list = kind.read(text, film);
    for (CutListItem& item : list.items) {
        require(std::isfinite(item.start) && std::isfinite(item.end) && std::abs(item.end) <= 1e9);
        require(item.pictures ? item.pictures->count() >= 0 : item.end >= item.start);
        if (!item.pictures)
            item.pictures = PictureRange{0, 1};
    }
    list.pictureCount = 2500;
    for (const QByteArray& written : kind.write(list))
        require(kind.read(written, film).items.size() <= list.items.size());
}

void tryKestrelList(const QByteArray& text)
{
    const KestrelList list = decodeKestrelList(text);
    const auto readAgain = [&] {
        try {
            return decodeKestrelList(encodeKestrelList(list)).list.segments == list.list.segments;
        } catch (const PayloadDecodingError&) {
            return false;
        }
    };
    require(readAgain());
}

} // namespace

/// A list of any kind, which the first byte chooses, is read or refused; the second byte chooses the film.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2)
        return 0;
    const auto& kinds = cutListKinds();
    const auto kind = static_cast<qsizetype>(data[0] % static_cast<unsigned>(kinds.size() + 1));
    const QByteArray text = bytesOf(data + 2, size - 2).toByteArray();
    try {
        if (kind < kinds.size())
            tryKind(kinds[kind], text, someFilm(data[1]));
        else
            tryKestrelList(text);
    } catch (const CutListError&) { // refused
    } catch (const PayloadDecodingError&) {
    }
    return 0;
}
