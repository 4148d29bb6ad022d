"use strict";
// Runs in a copy of the page (see test_report.py): unfolds everything, measures what is drawn, tries pointing and
// clicking, and leaves the findings in the document.
(() => {
  const all = (selector, within = document) => [...within.querySelectorAll(selector)];
  const seen = { rows: [] };
  for (const row of all("details.scenario")) {
    const text = (selector) => row.querySelector(":scope > summary " + selector)?.textContent ?? "";
    seen.rows.push({ result: text(".badge"), title: text(".name"), facts: text(".facts"), time: text(".time"),
      open: row.open, drawings: all("section svg[aria-label]", row).map((each) => each.getAttribute("aria-label")),
      tests: all(".tests tr", row).map((each) => all("td", each).map((cell) => cell.textContent)),
      bad_rows: all("svg[aria-label^='Timeline'] .row.bad text:nth-of-type(2)", row).map((each) => each.textContent) });
  }

  // Pointing and clicking, before everything is unfolded.
  const tip = document.getElementById("tip");
  seen.tip_before = tip.hidden ? "" : tip.textContent;
  const flow = all("details.scenario").find((each) => each.querySelector(".name").textContent === "a-flow");
  flow.open = true;
  const bar = all(".bar.shell.bad[data-tip]", flow)[0];
  bar.scrollIntoView({ block: "center", inline: "center" });
  const spot = bar.getBoundingClientRect();
  bar.dispatchEvent(new PointerEvent("pointermove", { bubbles: true, clientX: spot.x + 1, clientY: spot.y + 1 }));
  seen.tip = tip.hidden ? "" : tip.textContent;
  const box = tip.getBoundingClientRect();
  seen.tip_inside = box.width > 0 && box.left >= 0 && box.right <= innerWidth && box.top >= 0
    && box.bottom <= innerHeight;
  const aim = document.getElementById(bar.closest("[data-aim]").dataset.aim);
  seen.opened = { before: aim.open };
  bar.dispatchEvent(new MouseEvent("click", { bubbles: true }));
  seen.opened.after = aim.open;
  tip.hidden = true;

  for (const each of all("details")) each.open = true;
  const touch = (a, b) => a.left < b.right - 1 && b.left < a.right - 1 && a.top < b.bottom - 1 && b.top < a.bottom - 1;
  const drawings = all(".drawing > svg");
  Object.assign(seen, { drawings: drawings.length, texts: 0, bars: 0, empty: [], overlaps: [], outside: [],
    lowest_contrast: 99, faintest: "" });

  const shown = document.createElement("canvas").getContext("2d", { willReadFrequently: true });
  const light = (color) => {
    shown.fillStyle = color;
    shown.fillRect(0, 0, 1, 1);
    const parts = [...shown.getImageData(0, 0, 1, 1).data].slice(0, 3).map((part) => {
      const value = part / 255;
      return value <= 0.04045 ? value / 12.92 : ((value + 0.055) / 1.055) ** 2.4;
    });
    return 0.2126 * parts[0] + 0.7152 * parts[1] + 0.0722 * parts[2];
  };
  const style = getComputedStyle(document.documentElement);
  const grounds = { paper: 0, stripe: 0, "bad-soft": 0 };
  for (const name of Object.keys(grounds)) grounds[name] = light(style.getPropertyValue("--" + name));
  const known = new Map();

  for (const svg of drawings) {
    const frame = svg.getBoundingClientRect();
    if (frame.width < 20 || frame.height < 20) seen.empty.push(svg.getAttribute("aria-label"));
    const texts = all("text", svg).map((each) => ({ each, box: each.getBoundingClientRect() }));
    const bars = all(".bar", svg).map((each) => ({ each, box: each.getBoundingClientRect() }));
    seen.texts += texts.length;
    seen.bars += bars.length;
    for (const { each, box } of [...texts, ...bars]) {
      if (box.width < 1 || box.height < 1) seen.empty.push(each.outerHTML.slice(0, 200));
      if (box.left < frame.left || box.right > frame.right || box.top < frame.top - 1 || box.bottom > frame.bottom + 1)
        seen.outside.push(each.outerHTML.slice(0, 200));
    }
    const byTop = [...texts].sort((a, b) => a.box.top - b.box.top);
    byTop.forEach((one, place) => {
      for (let next = place + 1; next < byTop.length && byTop[next].box.top < one.box.bottom; ++next)
        if (touch(one.box, byTop[next].box)) seen.overlaps.push([one.each.textContent, byTop[next].each.textContent]);
    });
    for (const one of bars)
      for (const other of texts)
        if (touch(one.box, other.box)) seen.overlaps.push([one.each.getAttribute("class"), other.each.textContent]);
    for (const { each } of texts) {
      const fill = getComputedStyle(each).fill;
      const bad = each.closest(".row.bad") !== null;
      const key = fill + bad;
      if (!known.has(key)) {
        const ink = light(fill);
        const ratios = [bad ? grounds["bad-soft"] : grounds.stripe, bad ? grounds["bad-soft"] : grounds.paper]
          .map((ground) => (Math.max(ink, ground) + 0.05) / (Math.min(ink, ground) + 0.05));
        known.set(key, Math.min(...ratios));
      }
      if (known.get(key) < seen.lowest_contrast) {
        seen.lowest_contrast = known.get(key);
        seen.faintest = each.outerHTML.slice(0, 200);
      }
    }
  }

  seen.width = innerWidth;
  seen.too_wide = Math.max(0, document.documentElement.scrollWidth - innerWidth);
  seen.dark = light(getComputedStyle(document.body).backgroundColor) < 0.2;
  seen.hurt = window.hurt ?? null;
  seen.foreign = { img: all("img, iframe, object, embed, audio, video, form").length,
    scripts: all("script").length - 3,
    handlers: all("*").filter((each) => [...each.attributes].some((one) => one.name.startsWith("on"))).length };
  seen.resources = performance.getEntriesByType("resource").map((entry) => entry.name);
  seen.faults = window.faults;
  const out = document.createElement("script");
  out.type = "application/json";
  out.id = "measured";
  out.textContent = JSON.stringify(seen).replaceAll("<", "\\u003c");
  document.body.append(out);
})();
