/* The Velmora host library for C, and for all that can call C: what a proxy or another host needs to
 * take HTTP responses through the filter.
 *
 *   velmora_host *host;
 *   velmora_host_options options = VELMORA_HOST_OPTIONS_INIT;
 *   options.policy = "/etc/velmora/velmora.toml";
 *   velmora_host_open(&options, &host, message, sizeof message);
 *
 *   for each response:
 *     velmora_response_head head = VELMORA_RESPONSE_HEAD_INIT;   then its URL, its headers...
 *     velmora_response *response;
 *     code = velmora_response_begin(host, &head, on_event, user, &response);
 *     VELMORA_UNTOUCHED: the response goes on as it is, headers and all.
 *     VELMORA_OK:        the body goes through the filter. Content-Length and all that
 *                        velmora_host_stale_headers names is dropped from the head.
 *     for each piece of the body that arrives:
 *       code = velmora_response_push(response, piece, size, &out);
 *       for (; code == VELMORA_OK && out.size; code = velmora_response_next(response, &out)) send out
 *     the same with velmora_response_finish at the end
 *     velmora_response_end(response);
 *
 *   for each request, before it is made:
 *     velmora_request_head head = VELMORA_REQUEST_HEAD_INIT;     its URL, who asks, its headers
 *     velmora_request *request;
 *     code = velmora_request_judge(host, &head, &request);
 *     VELMORA_UNTOUCHED: it is made as it is.
 *     VELMORA_OK:        velmora_request_result(request) is what to answer in its place, or what to
 *                        change in it.
 *     velmora_request_end(request);
 *
 *   velmora_host_close(host);
 *
 * Texts are zero-terminated, a null pointer is an empty one; they are the caller's, and are needed
 * during the call only. Functions answer a code and throw nothing. A pointer that must not be null,
 * and is, answers VELMORA_INVALID_ARGUMENT; where a function has no code to answer, it does nothing.
 *
 * Threads: any number of threads use a host at once. A response is used by one thread at a time, not
 * always the same; its events come on that thread, during the call that causes them. */
#ifndef VELMORA_HOST_H
#define VELMORA_HOST_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define VELMORA_NOEXCEPT noexcept
extern "C" {
#else
#define VELMORA_NOEXCEPT
#endif
#ifndef VELMORA_API
#define VELMORA_API
#endif

/* Grows by one when a program must be built, or written, anew; the SONAME of the library carries it.
 * What is added to the end of a structure leaves it as it is: each begins with its size. */
#define VELMORA_HOST_API 0

/* What a call came to. */
typedef enum velmora_code {
  VELMORA_OK = 0,
  /* The response is not for the filter: it goes on as it is. */
  VELMORA_UNTOUCHED = 1,
  /* The body is broken off: a limit was passed and the policy is to let nothing unfiltered through,
   * or velmora_response_abort was called. The client is to see that the body is not whole. */
  VELMORA_FAILED = 2,
  /* The caller's fault: a null pointer, a structure of an unknown size, an unknown category, or a
   * push before all of the piece before has come out or after the end. Nothing was done. */
  VELMORA_INVALID_ARGUMENT = 3,
  VELMORA_OUT_OF_MEMORY = 4,
  /* The plug-in or the ad-blocking library cannot be loaded, or the lists hold no rule. */
  VELMORA_CANNOT_LOAD = 5,
  /* The policy file cannot be used. */
  VELMORA_BAD_POLICY = 6,
  /* Something else: the event log cannot be opened, ... */
  VELMORA_ERROR = 7
} velmora_code;

/* Bytes that belong to the library. `data` may be null when `size` is 0. */
typedef struct velmora_bytes {
  const char *data;
  size_t size;
} velmora_bytes;

/* A few English words for a code, never null. */
VELMORA_API const char *velmora_describe(velmora_code code) VELMORA_NOEXCEPT;
/* "1.2.3" of the library, which may be newer than this header. */
VELMORA_API const char *velmora_host_version(void) VELMORA_NOEXCEPT;
/* VELMORA_HOST_API of the library. */
VELMORA_API int velmora_host_api(void) VELMORA_NOEXCEPT;
/* The names of headers that tell of a body's bytes as they were, and are dropped from the head of a
 * response whose body is filtered, besides Content-Length; the last is a null pointer. */
VELMORA_API const char *const *velmora_host_stale_headers(void) VELMORA_NOEXCEPT;

/* ---- The host: the plug-in, a policy, an event log ---------------------------------------------
 * A process needs one. More than one share the plug-in and the ad-blocking library. */

typedef struct velmora_host velmora_host;

typedef struct velmora_host_options {
  /* sizeof(velmora_host_options) */
  size_t size;
  /* The plug-in's file; empty: the one that was installed with this library. */
  const char *plugin;
  /* The policy file. Empty: what is blocked by default, unless a response says otherwise; a body
   * that passes a limit goes on unfiltered; no event log. */
  const char *policy;
  /* Stands in for the event log that the policy names. */
  const char *event_log;
} velmora_host_options;

#define VELMORA_HOST_OPTIONS_INIT {sizeof(velmora_host_options), NULL, NULL, NULL}

/* Makes a host and stores it in `*host`, for velmora_host_close; on failure null. `message`, if it is
 * not null, receives what is wrong (empty: nothing), cut to `message_size` bytes with a zero at the
 * end; for a bad policy a line "FILE:LINE:COLUMN: MESSAGE" for each problem. */
VELMORA_API velmora_code velmora_host_open(const velmora_host_options *options, velmora_host **host,
                                           char *message, size_t message_size) VELMORA_NOEXCEPT;

/* Reads policy and lists anew and opens the event log again under its name, for logs that are
 * rotated. Responses that begin from now on follow the new policy, those under way the one they began
 * with. On failure all stays as it was. */
VELMORA_API velmora_code velmora_host_renew(velmora_host *host, char *message,
                                            size_t message_size) VELMORA_NOEXCEPT;

/* The caller's handle is gone. Responses under way are not touched by it; the plug-in is unloaded
 * with the last of them. Null is allowed. */
VELMORA_API void velmora_host_close(velmora_host *host) VELMORA_NOEXCEPT;

/* ---- Events ------------------------------------------------------------------------------------ */

typedef enum velmora_event_kind {
  /* Something was taken out of the body, or changed in it. */
  VELMORA_EVENT_BLOCKED = 0,
  /* Filtering or decoding stopped before the body's end. */
  VELMORA_EVENT_STOPPED = 1
} velmora_event_kind;

/* Valid during the call that brings it. */
typedef struct velmora_event {
  /* sizeof(velmora_event) of the library. */
  size_t size;
  velmora_event_kind kind;
  /* Of what was blocked: the category's code and its name as in policies ("ad-urls"); else 0, "". */
  int32_t category;
  const char *category_name;
  /* Of what was blocked: what it was, and its address, size or the like. They come from the page and
   * may hold any bytes. */
  velmora_bytes item;
  velmora_bytes detail;
  /* Why filtering stopped, in a few English words; else "". */
  const char *reason;
  /* Where the element that was blocked began in the body as it came, content codings taken off: its
   * first byte, from 0 on; -1: it was no element's. */
  int64_t offset;
  /* The address that was judged, where it was one. */
  velmora_bytes address;
} velmora_event;

/* Hears of events; must not throw, nor use the response that it hears of. `user` is what
 * velmora_response_begin was given. */
typedef void (*velmora_event_callback)(void *user, const velmora_event *event);

/* ---- A response -------------------------------------------------------------------------------- */

typedef struct velmora_response velmora_response;

typedef struct velmora_response_head {
  /* sizeof(velmora_response_head) */
  size_t size;
  /* The HTTP status; 0: not known. The body of a 206 that answers a Range is a part, which cannot be
   * judged; without one, browsers show it as the whole. */
  int32_t status;
  /* Absolute, as it was asked for; empty: not known. */
  const char *url;
  /* The IP address of who asked for it; empty: not known. */
  const char *client;
  /* Values of the response's headers of these names, those of several lines with commas between
   * them; empty: there is none. */
  const char *content_type;
  const char *content_encoding;
  /* Of the request's header. */
  const char *accept_encoding;
  /* Categories to block in this response in the place of the policy's, by names and codes with commas
   * between them: "ads,popups". Null: the policy's. What the policy allows stays untouched. */
  const char *block;
  /* Of the request's header; empty: there is none. */
  const char *range;
  /* The name of who has signed in to the host; empty: not known. */
  const char *user;
  /* Groups of the policy that the client is in as far as the host knows, with commas between them. */
  const char *groups;
} velmora_response_head;

#define VELMORA_RESPONSE_HEAD_INIT \
  {sizeof(velmora_response_head), 0, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL}

/* The Content-Security-Policy that a response goes out with beside its own, filtered or not; "" for
 * none. Where scripts are blocked it tells the browser to run none, not even those that a filter of
 * pages does not see. Valid for ever, never null. */
VELMORA_API const char *velmora_response_security_policy(const velmora_host *host,
                                                         const velmora_response_head *head)
    VELMORA_NOEXCEPT;

/* Begins a response. VELMORA_OK: `*response` is for velmora_response_end. VELMORA_UNTOUCHED: the
 * response goes on as it is. VELMORA_FAILED: the body must not go on (the client gets an error
 * instead). With these two and on failure `*response` is null. The callback may be null. */
VELMORA_API velmora_code velmora_response_begin(const velmora_host *host,
                                                const velmora_response_head *head,
                                                velmora_event_callback on_event, void *user,
                                                velmora_response **response) VELMORA_NOEXCEPT;

/* The Content-Encoding to send: "gzip", or "" for none. Never null. */
VELMORA_API const char *velmora_response_coding(const velmora_response *response) VELMORA_NOEXCEPT;

/* Gives the next piece of the body and stores the first bytes that may go on now in `*out`; empty:
 * none for now. The library copies the piece. `*out` is valid until the next call with this response.
 * Work is done only as bytes are asked for, so a host that waits for its client before it asks for
 * the next ones slows the origin down, and nothing piles up. */
VELMORA_API velmora_code velmora_response_push(velmora_response *response, const void *piece,
                                               size_t size, velmora_bytes *out) VELMORA_NOEXCEPT;
/* The next bytes that may go on; empty: all that can go on has. */
VELMORA_API velmora_code velmora_response_next(velmora_response *response,
                                               velmora_bytes *out) VELMORA_NOEXCEPT;
/* The body is at its end: what was held back comes out too. */
VELMORA_API velmora_code velmora_response_finish(velmora_response *response,
                                                 velmora_bytes *out) VELMORA_NOEXCEPT;
/* The body broke off on its way here: what is held back, perhaps half of something that should be
 * blocked, is dropped. Afterwards all calls answer VELMORA_FAILED. */
VELMORA_API void velmora_response_abort(velmora_response *response) VELMORA_NOEXCEPT;
/* Frees the response, whatever its state. Null is allowed. */
VELMORA_API void velmora_response_end(velmora_response *response) VELMORA_NOEXCEPT;

/* ---- A request, judged before it is made ------------------------------------------------------- */

typedef struct velmora_header {
  const char *name;
  const char *value;
} velmora_header;

typedef struct velmora_request_head {
  /* sizeof(velmora_request_head) */
  size_t size;
  /* "GET", ... */
  const char *method;
  /* Absolute, or "host:port" with CONNECT. */
  const char *url;
  /* As velmora_response_head has them. */
  const char *client;
  const char *user;
  const char *groups;
  /* Other than 0: it has a body. What is answered then has none: a client that is still sending need
   * not read. */
  int32_t has_body;
  /* All that it has, or those that velmora_host_request_headers names; the others are not looked
   * at. */
  const velmora_header *headers;
  size_t header_count;
} velmora_request_head;

#define VELMORA_REQUEST_HEAD_INIT \
  {sizeof(velmora_request_head), NULL, NULL, NULL, NULL, NULL, 0, NULL, 0}

/* The names of headers by which requests are judged; the last is a null pointer. Valid for ever. */
VELMORA_API const char *const *velmora_host_request_headers(void) VELMORA_NOEXCEPT;

typedef struct velmora_request velmora_request;

/* What is to become of a request. Lives as long as the `velmora_request`. */
typedef struct velmora_request_answer {
  /* sizeof(velmora_request_answer) of the library. */
  size_t size;
  /* The HTTP status to answer with in its place; 0: it is made, with what is changed. */
  int32_t status;
  /* "Forbidden"; of a request that is made "". */
  const char *reason;
  /* Of the answer, without Content-Length; or to be set in the request in the place of those of
   * their names. */
  const velmora_header *headers;
  size_t header_count;
  /* Of the answer; empty for none. */
  velmora_bytes body;
  /* What to ask for in the place of the request's URL; "": that stays. */
  const char *url;
} velmora_request_answer;

/* Judges a request by the policy and the lists. VELMORA_OK: `*request` says what to do, and is for
 * velmora_request_end. VELMORA_UNTOUCHED: it is made as it is. With this and on failure `*request`
 * is null. What is blocked goes to the event log. */
VELMORA_API velmora_code velmora_request_judge(const velmora_host *host,
                                               const velmora_request_head *head,
                                               velmora_request **request) VELMORA_NOEXCEPT;
/* Null for null. */
VELMORA_API const velmora_request_answer *velmora_request_result(const velmora_request *request)
    VELMORA_NOEXCEPT;
/* Null is allowed. */
VELMORA_API void velmora_request_end(velmora_request *request) VELMORA_NOEXCEPT;

#ifdef __cplusplus
} /* extern "C" */
#endif
#endif /* VELMORA_HOST_H */
