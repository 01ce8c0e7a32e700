window.mw = {loader: {}};
for (const run of window.RLQ) run();
document.addEventListener("DOMContentLoaded", () => {
  document.getElementById("loaded").textContent = `Modules are ready for ${RLCONF.wgPageName}: ${mw.loader.ready}`;
});
if (document.readyState !== "loading") document.dispatchEvent(new Event("DOMContentLoaded"));
