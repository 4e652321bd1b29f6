// Comfort for pages that have or want a record; everything works without it.
"use strict";

async function ask(query) {
  const answer = await fetch("/order/state?" + new URLSearchParams(query), { cache: "no-store" });
  if (!answer.ok) throw new Error(answer.statusText);
  return (await answer.text()).trim();
}

// A page that has a block: keeps the session alive, tells when block or network are gone, gives the block back when it is
// left.
const live = document.querySelector("[data-live]");
const order = document.getElementById("order");
if (live && order) {
  let sending = false;
  const tell = (text) => { live.textContent = text; live.hidden = text === ""; };
  const beat = async () => {
    try {
      const state = await ask({ block: live.dataset.live });
      if (sending) return;
      if (state === "held") { tell(""); return; }
      tell(state === "signed-out" ? live.dataset.signedOut : live.dataset.lost);
      clearInterval(timer); // asking on would keep a session alive that has nothing to keep
    } catch {
      if (!sending) tell(live.dataset.offline);
    }
  };
  const timer = setInterval(beat, live.dataset.seconds * 1000);
  order.addEventListener("submit", () => { sending = true; });
  addEventListener("pagehide", () => {
    if (sending) return;
    const token = order.elements.namedItem("form_token").value;
    navigator.sendBeacon("/order/release", new URLSearchParams({ form_token: token, block: live.dataset.live }));
  });
  // Back from the browser's memory: the block was given back on the way out.
  addEventListener("pageshow", (event) => { if (event.persisted) location.reload(); });
}

// A page that waits for a record: asks for it as soon as it is free.
const retry = document.querySelector("form[data-retry]");
if (retry && retry.dataset.retry) {
  const status = retry.querySelector("[role=status]");
  status.textContent = status.dataset.waiting;
  const timer = setInterval(async () => {
    try {
      if (await ask({ id: retry.dataset.retry }) === "taken") return;
      clearInterval(timer);
      status.textContent = status.dataset.free;
      retry.requestSubmit();
    } catch { /* the next try may do better */ }
  }, 2000);
}
