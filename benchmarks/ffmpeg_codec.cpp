// ffmpeg_bench: ffmpeg's libraries at the same work, to compare with. Decoding is the mpeg2video
// decoder and the conversion from its planar 4:2:2 to the bitmap's format; encoding is the
// conversion to planar 4:2:2 and the mpeg2video encoder, every frame intra coded with Table B-15,
// the non-linear quantiser scale and the codec's own quantiser_scale_code. One thread.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/error.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

#include <algorithm>
#include <array>
#include <cstring>
#include <stdexcept>
#include <string>

#include "benchmarks/frame_codec.h"
#include "encoder/quality.h"

namespace qivm::bench {

namespace {

void Check(int result, const char* what) {
  if (result < 0) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text = {};
    av_strerror(result, text.data(), text.size());
    throw std::runtime_error(std::string("ffmpeg: ") + what + ": " + text.data());
  }
}

template <typename Object>
Object* NotNull(Object* object, const char* what) {
  if (object == nullptr) {
    throw std::runtime_error(std::string("ffmpeg has no ") + what);
  }
  return object;
}

struct Release {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(SwsContext* converter) const { sws_freeContext(converter); }
};
template <typename Object>
using Owned = std::unique_ptr<Object, Release>;

AVPixelFormat PixelFormatOf(ClientFormat format) {
  switch (format) {
    case ClientFormat::rgb24:
      return AV_PIX_FMT_BGR24;
    case ClientFormat::rgb32:
      return AV_PIX_FMT_BGR0;
    default:
      return AV_PIX_FMT_YUYV422;
  }
}

class FfmpegCodec final : public FrameCodec {
 public:
  explicit FfmpegCodec(const FrameTask& task)
      : task_(task),
        decode_(task.direction == FrameTask::Direction::decode),
        planar_(NotNull(av_frame_alloc(), "memory")),
        packet_(NotNull(av_packet_alloc(), "memory")) {
    // Messages go to the caller by exception.
    av_log_set_level(AV_LOG_ERROR);
    OpenConverter();
    if (decode_) {
      OpenDecoder();
    } else {
      OpenEncoder();
    }
  }

  void Decode(std::span<const std::uint8_t> frame, std::span<std::uint8_t> bitmap) override {
    // The decoder may read a little beyond the packet.
    padded_.assign(frame.begin(), frame.end());
    padded_.resize(frame.size() + AV_INPUT_BUFFER_PADDING_SIZE);
    packet_->data = padded_.data();
    packet_->size = static_cast<int>(frame.size());
    Check(avcodec_send_packet(context_.get(), packet_.get()), "send_packet");
    Check(avcodec_receive_frame(context_.get(), planar_.get()), "receive_frame");
    const Lines lines = LinesOf(bitmap.data());
    Check(sws_scale(converter_.get(), planar_->data, planar_->linesize, 0, task_.height,
                    lines.planes.data(), lines.pitches.data()),
          "sws_scale");
  }

  std::size_t Encode(std::span<const std::uint8_t> bitmap, std::span<std::uint8_t> frame) override {
    Check(av_frame_make_writable(planar_.get()), "frame_make_writable");
    // Only read.
    const Lines lines = LinesOf(const_cast<std::uint8_t*>(bitmap.data()));
    Check(sws_scale(converter_.get(), lines.planes.data(), lines.pitches.data(), 0, task_.height,
                    planar_->data, planar_->linesize),
          "sws_scale");
    planar_->quality = context_->global_quality;
    ++planar_->pts;
    Check(avcodec_send_frame(context_.get(), planar_.get()), "send_frame");
    Check(avcodec_receive_packet(context_.get(), packet_.get()), "receive_packet");
    const auto size = static_cast<std::size_t>(packet_->size);
    if (size > frame.size()) {
      throw std::runtime_error("ffmpeg: a frame is larger than expected");
    }
    std::memcpy(frame.data(), packet_->data, size);
    av_packet_unref(packet_.get());
    return size;
  }

 private:
  struct Lines {
    std::array<std::uint8_t*, 4> planes;
    std::array<int, 4> pitches;
  };

  /// RGB bitmaps are bottom-up.
  Lines LinesOf(std::uint8_t* bitmap) const {
    const auto pitch =
        static_cast<std::ptrdiff_t>(task_.BitmapBytes() / static_cast<std::size_t>(task_.height));
    if (IsRgb(task_.format)) {
      return {{bitmap + pitch * (task_.height - 1)}, {static_cast<int>(-pitch)}};
    }
    return {{bitmap}, {static_cast<int>(pitch)}};
  }

  void OpenConverter() {
    const AVPixelFormat client = PixelFormatOf(task_.format);
    const AVPixelFormat from = decode_ ? AV_PIX_FMT_YUV422P : client;
    const AVPixelFormat to = decode_ ? client : AV_PIX_FMT_YUV422P;
    converter_.reset(
        NotNull(sws_getContext(task_.width, task_.height, from, task_.width, task_.height, to,
                               SWS_FAST_BILINEAR, nullptr, nullptr, nullptr),
                "such conversion"));
  }

  void OpenDecoder() {
    const AVCodec* codec = NotNull(avcodec_find_decoder(AV_CODEC_ID_MPEG2VIDEO), "decoder");
    context_.reset(NotNull(avcodec_alloc_context3(codec), "memory"));
    context_->thread_count = 1;
    context_->flags |= AV_CODEC_FLAG_LOW_DELAY;  // each frame at once
    context_->err_recognition |= AV_EF_EXPLODE;  // no concealment of what cannot be decoded
    Check(avcodec_open2(context_.get(), codec, nullptr), "open decoder");
  }

  void OpenEncoder() {
    const int code = QuantiserCodeOfQuality(task_.quality);
    const AVCodec* codec = NotNull(avcodec_find_encoder(AV_CODEC_ID_MPEG2VIDEO), "encoder");
    context_.reset(NotNull(avcodec_alloc_context3(codec), "memory"));
    context_->thread_count = 1;
    context_->width = task_.width;
    context_->height = task_.height;
    context_->pix_fmt = AV_PIX_FMT_YUV422P;
    context_->time_base = {1, 25};
    context_->gop_size = 1;
    context_->intra_dc_precision = 3;
    context_->flags |=
        AV_CODEC_FLAG_QSCALE | AV_CODEC_FLAG_LOW_DELAY | AV_CODEC_FLAG_INTERLACED_DCT;
    context_->global_quality = code * FF_QP2LAMBDA;
    context_->qmin = 1;
    context_->qmax = 28;
    Check(av_opt_set_int(context_->priv_data, "intra_vlc", 1, 0), "intra_vlc");
    Check(av_opt_set_int(context_->priv_data, "non_linear_quant", 1, 0), "non_linear_quant");
    Check(avcodec_open2(context_.get(), codec, nullptr), "open encoder");

    planar_->format = AV_PIX_FMT_YUV422P;
    planar_->width = task_.width;
    planar_->height = task_.height;
    planar_->pts = 0;
    Check(av_frame_get_buffer(planar_.get(), 0), "frame_get_buffer");
  }

  FrameTask task_;
  bool decode_;
  Owned<AVFrame> planar_;
  Owned<AVPacket> packet_;
  Owned<AVCodecContext> context_;
  Owned<SwsContext> converter_;
  std::vector<std::uint8_t> padded_;
};

}  // namespace

std::unique_ptr<FrameCodec> MakeFrameCodec(const FrameTask& task) {
  return std::make_unique<FfmpegCodec>(task);
}

}  // namespace qivm::bench
