/* The same host in C. */
#include <stdio.h>
#include <velmora_host.h>

static void say(void *user, const velmora_event *event) {
  (void)user;
  if (event->kind == VELMORA_EVENT_STOPPED) fprintf(stderr, "stopped: %s\n", event->reason);
  if (event->kind == VELMORA_EVENT_BLOCKED) {
    fprintf(stderr, "%s: %.*s %.*s", event->category_name, (int)event->item.size, event->item.data,
            (int)event->detail.size, event->detail.data);
    if (event->offset >= 0) fprintf(stderr, " at byte %lld", (long long)event->offset);
    fputc('\n', stderr);
  }
}

/* Writes what has come out, and what follows it without more of the page. */
static velmora_code send_all(velmora_code code, velmora_response *response, velmora_bytes out) {
  while (code == VELMORA_OK && out.size != 0) {
    fwrite(out.data, 1, out.size, stdout);
    code = velmora_response_next(response, &out);
  }
  return code;
}

static velmora_code filter_page(const velmora_host *host) {
  velmora_response_head head = VELMORA_RESPONSE_HEAD_INIT;
  head.url = "http://www.example.com/";
  head.content_type = "text/html";
  velmora_response *response;
  velmora_bytes out;
  char piece[4096];
  size_t size;
  velmora_code code = velmora_response_begin(host, &head, say, NULL, &response);
  if (code == VELMORA_UNTOUCHED) {
    while ((size = fread(piece, 1, sizeof piece, stdin)) != 0) fwrite(piece, 1, size, stdout);
    return VELMORA_OK;
  }
  while (code == VELMORA_OK && (size = fread(piece, 1, sizeof piece, stdin)) != 0) {
    code = velmora_response_push(response, piece, size, &out);
    code = send_all(code, response, out);
  }
  if (code == VELMORA_OK) {
    code = velmora_response_finish(response, &out);
    code = send_all(code, response, out);
  }
  velmora_response_end(response);
  return code;
}

/* Is the page asked for at all? What is answered in its place goes to standard output. */
static int is_asked_for(const velmora_host *host) {
  const velmora_header headers[] = {{"Sec-Fetch-Dest", "document"}};
  velmora_request_head head = VELMORA_REQUEST_HEAD_INIT;
  head.method = "GET";
  head.url = "http://www.example.com/";
  head.headers = headers;
  head.header_count = 1;
  velmora_request *request;
  if (velmora_request_judge(host, &head, &request) != VELMORA_OK) return 1;
  const velmora_request_answer *answer = velmora_request_result(request);
  const int is_answered = answer->status != 0;
  if (is_answered) {
    fprintf(stderr, "not asked for: %d %s\n", (int)answer->status, answer->reason);
    fwrite(answer->body.data, 1, answer->body.size, stdout);
  }
  velmora_request_end(request);
  return !is_answered;
}

int main(int count, char **arguments) {
  char message[4096];
  velmora_host *host;
  velmora_host_options options = VELMORA_HOST_OPTIONS_INIT;
  if (count > 1) options.policy = arguments[1];
  if (velmora_host_open(&options, &host, message, sizeof message) != VELMORA_OK) {
    fprintf(stderr, "small_host: %s\n", message);
    return 1;
  }
  velmora_code code = is_asked_for(host) ? filter_page(host) : VELMORA_OK;
  velmora_host_close(host);
  if (code != VELMORA_OK) fprintf(stderr, "small_host: %s\n", velmora_describe(code));
  return code != VELMORA_OK;
}
