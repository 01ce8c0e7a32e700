/* The same host in C. */
#include <stdio.h>
#include <velmora_host.h>

static void say(void *user, const velmora_event *event) {
  (void)user;
  if (event->kind == VELMORA_EVENT_STOPPED) fprintf(stderr, "stopped: %s\n", event->reason);
  if (event->kind == VELMORA_EVENT_BLOCKED) {
    fprintf(stderr, "%s: %.*s %.*s\n", event->category_name, (int)event->item.size,
            event->item.data, (int)event->detail.size, event->detail.data);
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

int main(int count, char **arguments) {
  char message[4096];
  velmora_host *host;
  velmora_host_options options = VELMORA_HOST_OPTIONS_INIT;
  if (count > 1) options.policy = arguments[1];
  if (velmora_host_open(&options, &host, message, sizeof message) != VELMORA_OK) {
    fprintf(stderr, "small_host: %s\n", message);
    return 1;
  }
  velmora_code code = filter_page(host);
  velmora_host_close(host);
  if (code != VELMORA_OK) fprintf(stderr, "small_host: %s\n", velmora_describe(code));
  return code != VELMORA_OK;
}
