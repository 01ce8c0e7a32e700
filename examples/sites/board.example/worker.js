addEventListener("install", () => skipWaiting());
addEventListener("activate", event => event.waitUntil(clients.claim()));
addEventListener("fetch", event => {
  if (!event.request.url.endsWith("/api/cards.json")) return;
  event.respondWith((async () => {
    const cards = await (await fetch(event.request)).json();
    cards.push({title: "Answered by the worker", by: "cache"});
    return Response.json(cards);
  })());
});
