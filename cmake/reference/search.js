// The search field of the guide and the reference. The index (index.js) is a script, because pages that are read from
// disk may not fetch files; it is loaded when the field is first used.
(() => {
  "use strict";
  const root = document.currentScript.src.replace(/[^/]*$/, "");
  const field = Object.assign(document.createElement("input"), {
    type: "search", placeholder: "Search  ( / )", autocomplete: "off", spellcheck: false,
  });
  field.setAttribute("aria-label", "Search the guide and the reference");
  const list = document.createElement("ol");
  list.setAttribute("role", "listbox");
  const box = Object.assign(document.createElement("div"), {className: "search"});
  box.append(field, list);
  document.querySelector("header.site").append(box);

  let index = null;
  window.corvaneIndex = (entries) => {
    index = entries.map(([title, kind, url, text]) =>
      ({title, kind, url, text, name: title.toLowerCase(), words: (title + " " + text).toLowerCase()}));
    show();
  };
  const load = () => {
    if (index) return;
    index = [];
    document.head.append(Object.assign(document.createElement("script"), {src: root + "index.js"}));
  };

  // Smaller is better: the whole name, the last part of it, its beginning, a part, the text; undefined: not at all.
  const rank = (entry, words, query) => {
    if (!words.every((word) => entry.words.includes(word))) return undefined;
    const last = entry.name.split("::").pop();
    const place = [entry.name === query, last === query, entry.name.startsWith(query), last.startsWith(query),
      entry.name.includes(query), words.every((word) => entry.name.includes(word)), true].indexOf(true);
    const kind = {header: 500, guide: -500}[entry.kind] || 0;
    return place * 1000 + kind + Math.min(entry.name.length, 400);
  };

  const around = (text, word) => {
    const at = text.toLowerCase().indexOf(word);
    const begin = Math.max(0, at - 40);
    return at < 0 ? "" : (begin ? "…" : "") + text.slice(begin, at + 100) + "…";
  };

  const show = () => {
    const query = field.value.trim().toLowerCase().replace(/\(\)$/, "");
    const parts = query.split(/\s+/);
    const long = parts.filter((word) => word.length > 2);
    const words = long.length ? long : parts;
    const hits = query === "" ? [] : index
      .map((entry) => [rank(entry, words, query), entry])
      .filter(([place]) => place !== undefined)
      .sort(([a], [b]) => a - b)
      .slice(0, 30);
    list.replaceChildren(...hits.map(([, entry]) => {
      const link = Object.assign(document.createElement("a"), {href: root + entry.url, tabIndex: -1});
      link.append(Object.assign(document.createElement("b"), {textContent: entry.title}),
        Object.assign(document.createElement("span"), {textContent: entry.kind}));
      const text = entry.name.includes(words[0]) ? "" : around(entry.text, words[0]);
      if (text) link.append(Object.assign(document.createElement("p"), {textContent: text}));
      const item = document.createElement("li");
      item.setAttribute("role", "option");
      item.append(link);
      return item;
    }));
  };

  const select = (step) => {
    const items = [...list.children];
    const now = items.findIndex((item) => item.ariaSelected === "true");
    items.forEach((item) => { item.ariaSelected = "false"; });
    const next = items[Math.max(0, Math.min(items.length - 1, now + step))];
    if (!next) return;
    next.ariaSelected = "true";
    next.scrollIntoView({block: "nearest"});
  };

  field.addEventListener("focus", load);
  field.addEventListener("input", () => { load(); show(); });
  field.addEventListener("keydown", (event) => {
    if (event.key === "ArrowDown") select(1);
    else if (event.key === "ArrowUp") select(-1);
    else if (event.key === "Escape") { field.value = ""; show(); field.blur(); }
    else if (event.key === "Enter") (list.querySelector('[aria-selected="true"] a') || list.querySelector("a"))?.click();
    else return;
    event.preventDefault();
  });
  list.addEventListener("click", () => { field.value = ""; show(); });
  document.addEventListener("click", (event) => { if (!box.contains(event.target)) list.replaceChildren(); });
  document.addEventListener("keydown", (event) => {
    if (event.key !== "/" || event.ctrlKey || event.altKey || event.metaKey || /INPUT|TEXTAREA/.test(document.activeElement.tagName)) return;
    event.preventDefault();
    field.focus();
  });
})();
