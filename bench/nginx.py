"""The origin of the benchmarks: nginx, of one's own, in one folder."""

CONFIGURATION = """\
daemon off; worker_processes 1; pid {folder}/nginx.pid; error_log {folder}/nginx.log;
events {{ worker_connections 1024; }}
http {{
  access_log off; keepalive_requests 1000000;
  client_body_temp_path {folder}/t1; proxy_temp_path {folder}/t2; fastcgi_temp_path {folder}/t3;
  uwsgi_temp_path {folder}/t4; scgi_temp_path {folder}/t5;
  server {{
    {server}
  }}
}}
"""


def write_configuration(folder, server):
    """`server` is what stands in its block of that name; the file's name is returned."""
    file = folder / "nginx.conf"
    file.write_text(CONFIGURATION.format(folder=folder, server=server))
    return file
