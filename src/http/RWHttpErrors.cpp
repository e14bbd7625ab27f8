#include "http/RWHttpErrors.h"

namespace orla {

RWHttpConnectionError::RWHttpConnectionError(const RWCString& text)
    : RWInternalErr("RWHttpConnectionError: " + text) {}

RWHttpHandlerError::RWHttpHandlerError(const RWCString& text)
    : RWInternalErr("RWHttpHandlerError: " + text) {}

RWHttpHeaderParseError::RWHttpHeaderParseError(const RWCString& text)
    : RWInternalErr("RWHttpHeaderParseError: " + text) {}

RWHttpInvalidBodyError::RWHttpInvalidBodyError(const RWCString& text)
    : RWExternalErr("RWHttpInvalidBodyError: " + text) {}

RWHttpNoPendingRepliesError::RWHttpNoPendingRepliesError()
    : RWInternalErr("RWHttpNoPendingRepliesError: No replies expected from server") {}

RWHttpRecursiveRedirectError::RWHttpRecursiveRedirectError(const RWCString& text)
    : RWInternalErr("RWHttpRecursiveRedirectError: " + text) {}

RWHttpRequestError::RWHttpRequestError(const RWCString& text)
    : RWInternalErr("RWHttpRequestError: " + text) {}

RWHttpReplyError::RWHttpReplyError(const RWCString& text)
    : RWInternalErr("RWHttpReplyError: " + text) {}

}  // namespace orla
