#include "support/OddHttpServer.h"

#include <algorithm>

namespace vxcio::test {

namespace {

std::optional<uint64> NumberIn(const std::string& text) {
    const bool isNumber = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
    return isNumber ? std::optional<uint64>(std::stoull(text)) : std::nullopt;
}

} // namespace

std::string OddRequest::Target() const {
    const std::size_t from = line.find(' ');
    const std::size_t to = line.rfind(' ');
    return from == std::string::npos || to <= from ? std::string() : line.substr(from + 1, to - from - 1);
}

std::string OddRequest::Header(const std::string& name) const {
    const auto found = headers.find(name);
    return found == headers.end() ? std::string() : found->second;
}

std::optional<std::pair<uint64, std::optional<uint64>>> OddRequest::Range() const {
    const std::string text = Header("range");
    const std::size_t dash = text.find('-');
    if (!text.starts_with("bytes=") || dash == std::string::npos) {
        return std::nullopt;
    }
    const auto first = NumberIn(text.substr(6, dash - 6));
    return first ? std::optional(std::pair(*first, NumberIn(text.substr(dash + 1)))) : std::nullopt;
}

std::string OddFile::Head(int status, uint64 length, const std::string& more) const {
    std::string head = "HTTP/1.1 " + std::to_string(status) + " As Said\r\n";
    head += tellsSize ? "Content-Length: " + std::to_string(length) + "\r\n" : "Connection: close\r\n";
    if (!tag.empty()) {
        head += "ETag: " + tag + "\r\n";
    }
    if (!date.empty()) {
        head += "Last-Modified: " + date + "\r\n";
    }
    return head + more + "\r\n";
}

void OddFile::Answer(const OddRequest& request, OddReply& reply) const {
    const auto range = request.Range();
    uint64 first = 0;
    uint64 end = bytes.size();
    if (!givesRanges || !range) {
        reply.Send(Head(200, bytes.size()));
    } else if (range->first >= bytes.size()) {
        reply.Send(Head(416, 0, "Content-Range: bytes */" + std::to_string(bytes.size()) + "\r\n"));
        return;
    } else {
        first = range->first;
        end = std::min<uint64>(range->second.value_or(end - 1), end - 1) + 1;
        reply.Send(Head(206, end - first,
                        "Content-Range: bytes " + std::to_string(first) + "-" + std::to_string(end - 1) +
                            "/" + std::to_string(bytes.size()) + "\r\n"));
    }
    const uint64 sent = std::clamp<uint64>(most, first, end);
    reply.Send(std::string_view(bytes).substr(static_cast<std::size_t>(first),
                                              static_cast<std::size_t>(sent - first)));
    if (sent < end || !tellsSize) {
        reply.Close();
    }
}

OddHttpServer::Script ServeFiles(std::map<std::string, OddFile> files,
                                 std::function<bool(const OddRequest&, OddReply&)> odd) {
    return [files = std::move(files), odd = std::move(odd)](const OddRequest& request, OddReply& reply) {
        if (odd && odd(request, reply)) {
            return;
        }
        const auto found = files.find(request.Target());
        if (found == files.end()) {
            reply.Send("HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n");
        } else {
            found->second.Answer(request, reply);
        }
    };
}

} // namespace vxcio::test
