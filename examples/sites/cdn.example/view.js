/*! view 0.9 | reports to https://www.google-analytics.com/collect when told to */
function view(root, state) {
  root.innerHTML = "<h1>" + state.title + "</h1>" + state.lines.map(line => "<p>" + line + "</p>").join("");
}
