#include "HttpReasons.h"

#include <curl/curl.h>

namespace vxcio {

std::string ReasonOfStatus(int status, bool hasUser) {
    switch (status) {
    case 401:
        return hasUser ? "the server refuses this name and password (401)"
                       : "the server asks for a name and password (401)";
    case 403:
        return "the server forbids it (403)";
    case 404:
        return "there is no such file (404)";
    case 407:
        return "the proxy asks for a name and password (407)";
    case 410:
        return "the file is no longer there (410)";
    case 416:
        return "the server has nothing at this place of the file (416)";
    default:
        return "the server answers " + std::to_string(status);
    }
}

const char* ReasonOfCode(int code, bool isRedirected, bool hasHead) noexcept {
    switch (code) {
    case CURLE_COULDNT_RESOLVE_HOST:
        return "the host is not known";
    case CURLE_COULDNT_RESOLVE_PROXY:
        return "the proxy is not known";
    case CURLE_COULDNT_CONNECT:
        return "no connection to the host";
    case CURLE_SSL_CONNECT_ERROR:
        return "the host does not speak TLS as it must";
    case CURLE_PEER_FAILED_VERIFICATION:
        return "the certificate does not fit or is not trusted";
    case CURLE_SSL_CACERT_BADFILE:
        return "the file of certificates cannot be used";
    case CURLE_TOO_MANY_REDIRECTS:
        return "the server redirects in a circle, or too often";
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_WEIRD_SERVER_REPLY:
        return isRedirected ? "the server redirects to another kind of address than http and https"
                            : "the answer is not HTTP";
    case CURLE_URL_MALFORMAT:
        return isRedirected ? "the server redirects to what is no address" : "the address is none";
    case CURLE_OPERATION_TIMEDOUT:
        return "the server does not answer in time";
    case CURLE_PARTIAL_FILE:
        return "the server closed before everything that it had said had come";
    case CURLE_GOT_NOTHING:
        return "the server closed without an answer";
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
        return "the connection broke";
    case CURLE_OUT_OF_MEMORY:
        return hasHead ? "not enough memory" : "not enough memory, or a header beyond measure";
    default:
        return "the transfer failed";
    }
}

bool IsHopelessCode(int code) noexcept {
    switch (code) {
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_URL_MALFORMAT:
    case CURLE_TOO_MANY_REDIRECTS:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_OPERATION_TIMEDOUT: // the time of the whole call is over too, or nearly so
    case CURLE_OUT_OF_MEMORY:
        return true;
    default:
        return false;
    }
}

} // namespace vxcio
