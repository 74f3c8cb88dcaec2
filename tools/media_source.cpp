// SPDX-License-Identifier: Apache-2.0
// tools/media_source.cpp - an address that libavformat opens, read frame by frame.
#include "media_source.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "frame_trace.h"

namespace {

constexpr std::int64_t PATIENCE_NS = 10LL * 1000000000;
constexpr AVMediaType TYPES[2] = {AVMEDIA_TYPE_VIDEO, AVMEDIA_TYPE_AUDIO};
constexpr const char* KINDS[2] = {"video", "audio"};

std::string SchemeOf(const std::string& address)
{
    const std::size_t end = address.find("://");
    return end == std::string::npos ? std::string() : address.substr(0, end);
}

bool IsWebScheme(const std::string& scheme)
{
    return scheme == "http" || scheme == "https";
}

/// "lavfi:GRAPH" and "/dev/videoN" say their format by how they look.
std::string GuessFormat(const SourceOptions& options)
{
    if (!options.format.empty()) {
        return options.format;
    }
    if (options.address.rfind("lavfi:", 0) == 0) {
        return "lavfi";
    }
    return options.address.rfind("/dev/video", 0) == 0 ? "v4l2" : "";
}

std::string PathOf(const std::string& address)
{
    return address.rfind("file:", 0) == 0 ? address.substr(address.rfind("file://", 0) == 0 ? 7 : 5)
                                          : address;
}

} // namespace

MediaSource::MediaSource(SourceOptions options, const StopSignal& stop)
    : m_options(std::move(options)), m_stop(stop), m_pPacket(av_packet_alloc())
{
    m_options.format = GuessFormat(m_options);
    if (m_options.format == "lavfi" && m_options.address.rfind("lavfi:", 0) == 0) {
        m_options.address.erase(0, 6);
    }
    const std::string scheme = SchemeOf(m_options.address);
    const bool device = m_options.format == "v4l2";
    m_network = m_options.format != "lavfi" && ((!scheme.empty() && scheme != "file") || device);
    m_live = m_network && !IsWebScheme(scheme);
}

Trouble MediaSource::Open()
{
    Close();
    if (Trouble trouble = CheckAddress()) {
        return trouble;
    }
    if (Trouble trouble = OpenInput()) {
        return trouble;
    }
    return ChooseTracks();
}

void MediaSource::Close()
{
    for (Track& track : m_tracks) {
        track = Track();
    }
    m_pInput.reset();
}

/// A file is looked at before libavformat is: its own message does not say which of the usual mistakes it
/// was.
Trouble MediaSource::CheckAddress() const
{
    if (m_network || m_options.format == "lavfi" || m_options.address == "-" ||
        m_options.address.rfind("pipe:", 0) == 0) {
        return {};
    }
    const std::string path = PathOf(m_options.address);
    struct stat info = {};
    if (::stat(path.c_str(), &info) != 0) {
        return {EXIT_UNREACHABLE,
                path + ": " + std::strerror(errno) + "; give the path of a media file or a URL"};
    }
    if (S_ISDIR(info.st_mode)) {
        return {EXIT_UNREACHABLE, path + ": is a folder; give the path of a media file"};
    }
    if (::access(path.c_str(), R_OK) != 0) {
        return {EXIT_UNREACHABLE,
                path + ": " + std::strerror(errno) + "; let this user read it (chmod, chown)"};
    }
    return {};
}

Trouble MediaSource::OpenInput()
{
    const AVInputFormat* pFormat = nullptr;
    if (!m_options.format.empty()) {
        pFormat = av_find_input_format(m_options.format.c_str());
        if (pFormat == nullptr) {
            return {EXIT_USAGE,
                    "--format " + m_options.format + ": the media library knows no such input format"};
        }
    }
    AvOptions options;
    for (const std::string& option : m_options.inputOptions) {
        const std::size_t equals = option.find('=');
        options.Set(option.substr(0, equals), equals == std::string::npos ? "1" : option.substr(equals + 1));
    }
    AVFormatContext* pInput = avformat_alloc_context();
    pInput->interrupt_callback = {&MediaSource::Interrupted, this};
    pInput->flags |= AVFMT_FLAG_GENPTS;
    StartClock();
    int error = avformat_open_input(&pInput, m_options.address.c_str(), pFormat, options.Pointer());
    if (error >= 0) {
        m_pInput.reset(pInput);
        StartClock();
        error = avformat_find_stream_info(pInput, nullptr);
    }
    if (error < 0) {
        return {m_network ? EXIT_UNREACHABLE : EXIT_FOUND,
                Shown() + ": cannot open: " + AvErrorText(error) + "; " + Advice()};
    }
    return {};
}

const char* MediaSource::Advice() const
{
    if (m_options.format == "lavfi") {
        return "the graph is none that the media library understands";
    }
    if (m_options.format == "v4l2") {
        return "see which cameras there are (ls /dev/video*) and who uses this one";
    }
    return m_network ? "check the address and that its server runs"
                     : "it is no media file that this build understands, or it is damaged";
}

/// What was typed goes into journals, which more people read than should know a camera's password.
std::string MediaSource::Shown() const
{
    const std::string& address = m_options.address;
    const std::size_t name = SchemeOf(address).size() + 3;
    const std::size_t host = address.rfind('@', address.find('/', name));
    const std::size_t colon = address.find(':', name);
    const bool secret = !SchemeOf(address).empty() && host != std::string::npos && colon < host;
    return secret ? address.substr(0, colon + 1) + "***" + address.substr(host) : address;
}

Trouble MediaSource::ChooseTracks()
{
    const bool wanted[2] = {m_options.wantVideo, m_options.wantAudio};
    for (int track = 0; track < 2; ++track) {
        const int stream =
            wanted[track] ? av_find_best_stream(m_pInput.get(), TYPES[track], -1, -1, nullptr, 0) : -1;
        if (stream < 0) {
            continue;
        }
        if (Trouble trouble = OpenTrack(track, stream)) {
            return trouble;
        }
    }
    for (unsigned i = 0; i < m_pInput->nb_streams; ++i) {
        const int index = static_cast<int>(i);
        const bool used = index == m_tracks[0].stream || index == m_tracks[1].stream;
        m_pInput->streams[i]->discard = used ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
    if (m_options.wantVideo && !HasVideo()) {
        return {EXIT_FOUND, Shown() + ": has no video track" +
                                (m_options.wantAudio ? "; leave --key out to capture the sound alone"
                                                     : "; take another source, or its sound by --audio-key")};
    }
    if (!HasVideo() && !HasAudio()) {
        return {EXIT_FOUND, Shown() + ": has no audio track; take another source"};
    }
    return {};
}

Trouble MediaSource::OpenTrack(int track, int stream)
{
    const AVStream& source = *m_pInput->streams[stream];
    AVRational rate = av_guess_frame_rate(m_pInput.get(), m_pInput->streams[stream], nullptr);
    const AVCodecParameters* pParams = source.codecpar;
    AVRational timeBase = source.time_base;
    auto pTrack = std::make_unique<ElementaryTrack>();
    if (RawEncoder::Wants(*pParams)) {
        m_tracks[track].pEncoder = std::make_unique<RawEncoder>();
        if (Trouble trouble = m_tracks[track].pEncoder->Open(*pParams, timeBase, rate)) {
            return {trouble.code, Shown() + ": " + trouble.text};
        }
        pParams = &m_tracks[track].pEncoder->Params();
        timeBase = m_tracks[track].pEncoder->TimeBase();
    }
    if (!IsNameable(pParams->codec_id)) {
        return {EXIT_FOUND, Shown() + ": its " + KINDS[track] + " is " + avcodec_get_name(pParams->codec_id) +
                                ", which a FIFO cannot name; it can name " + NAMEABLE_CODECS +
                                "; convert the source" + (track == 1 ? ", or leave --audio-key out" : "")};
    }
    if (Trouble trouble = pTrack->Open(*pParams, timeBase, rate)) {
        return {trouble.code, Shown() + ": " + KINDS[track] + ": " + trouble.text};
    }
    m_tracks[track].stream = stream;
    m_tracks[track].pTrack = std::move(pTrack);
    return {};
}

SourceRead MediaSource::Read(std::vector<SourceFrame>& out)
{
    if (m_stop.Stopped()) {
        return SourceRead::STOPPED;
    }
    StartClock();
    const int error = av_read_frame(m_pInput.get(), m_pPacket.get());
    if (error == AVERROR(EAGAIN)) {
        m_stop.WaitFor(std::chrono::milliseconds(5));
        return SourceRead::FRAMES;
    }
    if (error < 0) {
        return OnReadError(error, out);
    }
    for (int track = 0; track < 2; ++track) {
        if (m_tracks[track].pTrack != nullptr && m_pPacket->stream_index == m_tracks[track].stream) {
            Feed(track, m_pPacket.get(), out);
        }
    }
    av_packet_unref(m_pPacket.get());
    return SourceRead::FRAMES;
}

/// A live source that ends has gone away; a file over the network that was read to its last byte is complete.
SourceRead MediaSource::OnReadError(int error, std::vector<SourceFrame>& out)
{
    if (m_stop.Stopped()) {
        return SourceRead::STOPPED;
    }
    m_lastError = error == AVERROR_EXIT ? "no data for ten seconds" : AvErrorText(error);
    const std::int64_t size = m_pInput->pb != nullptr ? avio_size(m_pInput->pb) : -1;
    const bool whole = !m_network || (!m_live && size > 0 && avio_tell(m_pInput->pb) >= size);
    if (error == AVERROR_EOF && whole) {
        Drain(out);
        return SourceRead::END;
    }
    if (!m_network) { // a file ends where it cannot be read further
        Note("capture", Shown() + ": cannot be read to its end: " + m_lastError);
        ++m_damaged;
        Drain(out);
        return SourceRead::END;
    }
    return SourceRead::DROPPED;
}

void MediaSource::Feed(int track, AVPacket* pPacket, std::vector<SourceFrame>& out)
{
    Track& owner = m_tracks[track];
    std::vector<MediaFrame> frames;
    if (owner.pEncoder != nullptr) {
        std::vector<AvPacket> packets;
        owner.pEncoder->Feed(pPacket, packets);
        for (AvPacket& packet : packets) {
            static_cast<void>(
                owner.pTrack->Feed(packet.get(), frames)); // our own encoder's packets are not broken
        }
    } else {
        const bool cut = (pPacket->flags & AV_PKT_FLAG_CORRUPT) != 0;
        const Trouble trouble = owner.pTrack->Feed(pPacket, frames);
        if ((cut || trouble) && m_damaged++ == 0) { // one broken packet costs itself, not the source
            Note("capture", Shown() + ": a packet is damaged (" + (trouble ? trouble.text : "cut short") +
                                "); further ones are only counted");
        }
    }
    for (MediaFrame& frame : frames) {
        out.push_back({track, std::move(frame)});
    }
}

/// What the encoders still hold.
void MediaSource::Drain(std::vector<SourceFrame>& out)
{
    for (int track = 0; track < 2; ++track) {
        if (m_tracks[track].pEncoder != nullptr) {
            Feed(track, nullptr, out);
        }
    }
}

int MediaSource::Interrupted(void* pSource)
{
    const auto* const pThis = static_cast<const MediaSource*>(pSource);
    const bool late = pThis->m_network && MonotonicNs() > pThis->m_deadlineNs;
    return pThis->m_stop.Stopped() || late ? 1 : 0;
}

void MediaSource::StartClock()
{
    m_deadlineNs = MonotonicNs() + PATIENCE_NS;
}
