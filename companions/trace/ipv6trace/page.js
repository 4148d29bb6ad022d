"use strict";
// Details by pointing, by tapping and by the keyboard; a click on a run opens what is told about it below.
const tip = document.getElementById("tip");

function show(element, x, y) {
  tip.textContent = element.dataset.tip;
  tip.hidden = false;
  const box = tip.getBoundingClientRect();
  const below = y + 18 + box.height < window.innerHeight;
  tip.style.left = Math.max(8, Math.min(x + 12, window.innerWidth - box.width - 8)) + "px";
  tip.style.top = Math.max(8, below ? y + 18 : y - box.height - 10) + "px";
}

function told(event) {
  return event.target instanceof Element ? event.target.closest("[data-tip]") : null;
}

function hide() {
  tip.hidden = true;
}

for (const kind of ["pointermove", "pointerdown"]) {
  document.addEventListener(kind, (event) => {
    const element = told(event);
    if (element) show(element, event.clientX, event.clientY);
    else hide();
  });
}

document.addEventListener("focusin", (event) => {
  const element = told(event);
  if (!element || !element.matches(":focus-visible")) return;
  const box = element.getBoundingClientRect();
  show(element, box.left + 30, box.top);
});
document.addEventListener("focusout", hide);
document.addEventListener("scroll", hide, true);

function open(event) {
  const element = event.target instanceof Element ? event.target.closest("[data-aim]") : null;
  const aim = element && document.getElementById(element.dataset.aim);
  if (!aim) return false;
  for (const other of document.querySelectorAll("details.shown")) other.classList.remove("shown");
  for (let each = aim; each; each = each.parentElement) if (each.tagName === "DETAILS") each.open = true;
  aim.classList.add("shown");
  aim.scrollIntoView({ block: "start" });
  return true;
}

document.addEventListener("click", open);
document.addEventListener("keydown", (event) => {
  if (event.key === "Escape") hide();
  if (event.key === "Enter" && open(event)) event.preventDefault();
});
