// Leptonica: scaling, its octree quantiser, colour-table removal, flipping. Its pixels are words of
// 32 bits; only what compares with rows of bytes is checked.
#include "bench/peers.h"

#include <leptonica/allheaders.h>
#include <memory>

namespace bench {

namespace {

using Picture = std::shared_ptr<Pix>;

Picture Owned(Pix* pix) {
    return {pix, [](Pix* made) { pixDestroy(&made); }};
}

Picture Copied(const Raster& raster) {
    const int bits = raster.bits == 24 ? 32 : raster.bits;
    const Picture picture = Owned(pixCreate(raster.width, raster.height, bits));
    for (int y = 0; y < raster.height; ++y) {
        const std::uint8_t* const row = raster.rows + static_cast<std::size_t>(y) * raster.stride;
        l_uint32* const line = pixGetData(picture.get()) + y * pixGetWpl(picture.get());
        for (int x = 0; x < raster.width; ++x) {
            if (raster.bits == 1)
                SET_DATA_BIT_VAL(line, x, static_cast<l_uint32>(row[x / 8] >> (7 - x % 8) & 1));
            else if (raster.bits == 8)
                SET_DATA_BYTE(line, x, row[x]);
            else
                composeRGBPixel(row[x * raster.bits / 8 + 2], row[x * raster.bits / 8 + 1], row[x * raster.bits / 8],
                                line + x);
        }
    }
    if (raster.table) {
        PixColormap* const map = pixcmapCreate(8);
        for (int i = 0; i < 256; ++i)
            pixcmapAddColor(map, raster.table[i * 4 + 2], raster.table[i * 4 + 1], raster.table[i * 4]);
        pixSetColormap(picture.get(), map);
    }
    return picture;
}

// The rows of a picture as the others have them.
Buffer Rows(Pix* pix, const Raster& shape) {
    Buffer rows(shape.stride * static_cast<std::size_t>(shape.height));
    for (int y = 0; y < shape.height; ++y) {
        const l_uint32* const line = pixGetData(pix) + y * pixGetWpl(pix);
        std::uint8_t* const row = rows.data() + static_cast<std::size_t>(y) * shape.stride;
        for (int x = 0; x < shape.width; ++x) {
            if (shape.bits == 1) {
                row[x / 8] |= static_cast<std::uint8_t>(GET_DATA_BIT(line, x) << (7 - x % 8));
            } else if (shape.bits == 8) {
                row[x] = GET_DATA_BYTE(line, x);
            } else {
                l_int32 red, green, blue;
                extractRGBValues(line[x], &red, &green, &blue);
                std::uint8_t* const pixel = row + x * shape.bits / 8;
                pixel[0] = static_cast<std::uint8_t>(blue);
                pixel[1] = static_cast<std::uint8_t>(green);
                pixel[2] = static_cast<std::uint8_t>(red);
                if (shape.bits == 32)
                    pixel[3] = 255;
            }
        }
    }
    return rows;
}

std::string Judge(const Task& task, Pix* pix) {
    const int bits = task.outcome.bits == 24 ? 32 : task.outcome.bits;
    if (!pix || pixGetDepth(pix) != bits || pixGetWidth(pix) != task.outcome.width ||
        pixGetHeight(pix) != task.outcome.height)
        return "failed";
    const Buffer rows = Rows(pix, task.outcome);
    if (task.job != Job::Reduce)
        return Compare(task, rows.data(), task.outcome.stride);
    std::uint8_t table[1024] = {};
    for (int i = 0; i < pixcmapGetCount(pixGetColormap(pix)); ++i) {
        l_int32 red, green, blue;
        pixcmapGetColor(pixGetColormap(pix), i, &red, &green, &blue);
        table[i * 4] = static_cast<std::uint8_t>(blue);
        table[i * 4 + 1] = static_cast<std::uint8_t>(green);
        table[i * 4 + 2] = static_cast<std::uint8_t>(red);
    }
    return CompareColours(task, rows.data(), task.outcome.stride, table, 4);
}

} // namespace

void AddLeptonica(const Task& task, std::vector<Contestant>& contestants) {
    setMsgSeverity(L_SEVERITY_NONE);
    const auto made = std::make_shared<Picture>();
    const auto add = [&](const char* name, std::function<Pix*(Pix*)> make) {
        const Picture source = Copied(task.source);
        contestants.push_back({name, Memory::Own,
                               [made, make, source] {
                                   made->reset();
                                   *made = Owned(make(source.get()));
                               },
                               [made, task] { return Judge(task, made->get()); }});
    };
    const float x = static_cast<float>(task.outcome.width) / static_cast<float>(task.source.width);
    const float y = static_cast<float>(task.outcome.height) / static_cast<float>(task.source.height);
    if (task.job == Job::Scale && task.source.bits == 1)
        add("Leptonica pixScaleBinary (nearest)", [x, y](Pix* pix) { return pixScaleBinary(pix, x, y); });
    if (task.job == Job::Scale && task.source.bits == 8 && task.outcome.bits == 8 && x > 0.7F)
        add("Leptonica pixScaleGrayLI", [x, y](Pix* pix) { return pixScaleGrayLI(pix, x, y); });
    if (task.job == Job::Scale && task.source.bits == 24 && x > 0.7F)
        add("Leptonica pixScaleColorLI", [x, y](Pix* pix) { return pixScaleColorLI(pix, x, y); });
    if (task.job == Job::Scale && task.source.bits >= 24 && x <= 0.7F)
        add("Leptonica pixScaleAreaMap", [x, y](Pix* pix) { return pixScaleAreaMap(pix, x, y); });
    if (task.job == Job::Reduce)
        add("Leptonica pixOctreeColorQuant", [](Pix* pix) { return pixOctreeColorQuant(pix, 240, 0); });
    if (task.job == Job::Convert && task.source.bits == 8)
        add("Leptonica pixRemoveColormap", [](Pix* pix) { return pixRemoveColormap(pix, REMOVE_CMAP_TO_FULL_COLOR); });
}

} // namespace bench
