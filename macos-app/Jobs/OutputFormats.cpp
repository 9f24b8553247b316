#include "Jobs/OutputFormats.h"

#include <QStringList>

using namespace Qt::StringLiterals;

namespace {

/// Of the muxers of ffmpeg 5.1 to 7.1 that open files of their own: dash, hls, webm_chunk, and image2, which numbers
/// its pictures.
const QStringList& extensionsOfSeveralFiles()
{
    static const QString words =
        u"avif bmp chk dpx exr hdr im1 im24 im8 j2c j2k jls jp2 jpeg jpg jxl jxs ljpg m3u8 mpd pam pbm pcx pfm pgm "
        "pgmyuv phm pix png ppm qoi ras rs sgi sun sunras tga tif tiff vbn wbmp xbm xface xwd y"_s;
    static const QStringList extensions = words.split(u' ');
    return extensions;
}

/// Of all the others.
const QStringList& extensionsOfOneFile()
{
    static const QString words =
        u"264 265 266 302 3g2 3gp a64 aac ac3 ac4 adts adx aea afc aif aifc aiff al amr amv apm apng aptx aptxhd "
        "apv asf ass ast au aud avi avs avs2 avs3 bin bit c2 caf cavs cpk cvg dfpwm dnxhd dnxhr drc dts dv dvd "
        "eac3 ec3 evc f4v ffmeta fits flac flm flv g722 gif gsm gxf h261 h263 h264 h265 h266 hevc iamf ico ircam "
        "isma ismv ivf js jss latm lbc lc3 loas lrc m1v m2a m2t m2ts m2v m4a m4b m4v mjpeg mjpg mkv mlp mmf mov "
        "mp2 mp3 mp4 mpa mpeg mpg msbc mts mxf nut obu oga ogg ogv oma opus pcm psp ra rco rcv rgb rm roq rso sb "
        "sbc scc sf sox spdif spx srt ssa sub sup sw swf tco thd ts tta ttml tun ub ul uw vag vc1 vc2 vob voc vtt "
        "vvc w64 wav webm webp wma wmv wtv wv xml y4m yuv"_s;
    static const QStringList extensions = words.split(u' ');
    return extensions;
}

} // namespace

bool makesSeveralFiles(const QString& extension)
{
    return extensionsOfSeveralFiles().contains(extension.toLower());
}

std::optional<QString> doubtAboutExtension(const QString& givenExtension)
{
    const QString extension = givenExtension.toLower();
    if (extension.isEmpty())
        return u"视频的文件名没有扩展名，ffmpeg 不知道该写成什么格式；请先给它加上扩展名，例如 .mp4"_s;
    if (makesSeveralFiles(extension))
        return u"ffmpeg 会把 .%1 写成多个文件，可能覆盖别的文件；请先把视频转换成单个文件，例如 .mp4"_s.arg(extension);
    if (extension == u"3gp" || extension == u"3g2")
        return u"ffmpeg 通常写不出 .%1 的声音；请先把视频转换成 .mp4 或 .mkv"_s.arg(extension);
    if (!extensionsOfOneFile().contains(extension))
        return u"ffmpeg 不能写出 .%1 格式；请先把视频转换成 .mp4 或 .mkv"_s.arg(extension);
    return std::nullopt;
}
