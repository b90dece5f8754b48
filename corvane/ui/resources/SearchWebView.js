// Search in a page of the help viewer.
//
//   Help_HighlightAllOccurencesOfString(text)  highlights every occurrence of the text and scrolls to the first
//   Help_RemoveAllHighlights()                 makes the page what it was
//
// Letters match whatever their case and accents, and white space of any length matches a blank. An occurrence may go
// across inline elements but not from one block to another. Text that is not rendered, scripts and form fields are not
// searched. Work that takes long is done in slices, between which the page stays usable; a call stops what an earlier
// one has begun. Evaluating this file again changes nothing.
(() => {
  "use strict";
  if (window.Help_HighlightAllOccurencesOfString) return;

  // Milliseconds. A slice lasts as long as the page has taken since the last one, most of it for laying out what the slice
  // has changed, so that this at most doubles the time.
  const SHORTEST_SLICE = 10;
  const LONGEST_SLICE = 50;
  const UNSEEN = new Set(["noscript", "script", "style", "template"]);
  const OBJECTS = new Set(["audio", "br", "canvas", "embed", "hr", "iframe", "img", "input", "math", "meter", "object",
    "progress", "select", "svg", "textarea", "video"]);

  // Elements of our own rather than spans: pages have rules for spans. A text becomes one element, so that a flexible
  // box, whose items are elements and texts, keeps the number of its items.
  const TEXT = "corvane-text";
  const FOUND = "corvane-found";
  const style = new CSSStyleSheet();
  style.replaceSync(`${FOUND} { background: #ffd54a !important; color: #000 !important;
    -webkit-text-fill-color: #000 !important; forced-color-adjust: none !important; border-radius: 2px; }`);

  // --- Folding: letters without case and accents, with the way back.

  // Marks that all scripts share are accents, and joiners are ignored; the Japanese voicing marks make other letters.
  const IGNORED = /(?![\u3099\u309a])[\p{Script=Inherited}\p{Default_Ignorable_Code_Point}]/gu;
  // Plain words as far as nothing changes their length, white space, or one character with its marks.
  const TOKENS = /[!-~]+(?: [!-~]+)*(?!\p{M})|\s+|[^]\p{M}*/gu;
  const foldedTokens = new Map();

  function foldToken(token) {
    if (/^\s/.test(token)) return " ";
    let folded = foldedTokens.get(token);
    if (folded === undefined) {
      // Upper case makes one of sharp s and SS, and of the two small sigmas; lower case first for the capital sharp s.
      folded = token.normalize("NFKD").replace(IGNORED, "").toLowerCase().toUpperCase().toLowerCase();
      folded = folded.replace(/\s+/g, " ");
      foldedTokens.set(token, folded);
    }
    return folded;
  }

  // The folded text, and its parts: where each begins in the folded text and begins and ends in the original. In a plain
  // part characters correspond to each other one by one; another part stands for its original as a whole.
  function fold(original) {
    let text = "";
    const parts = [];
    for (const match of original.matchAll(TOKENS)) {
      const token = match[0];
      const plain = token.charCodeAt(0) > 32 && token.charCodeAt(token.length - 1) < 127;
      let folded = plain ? token.toLowerCase() : foldToken(token);
      if (folded === " " && text.endsWith(" ")) folded = "";
      if (folded === "") continue;
      parts.push({ at: text.length, from: match.index, to: match.index + token.length, plain });
      text += folded;
    }
    return { text, parts };
  }

  // The ranges of the original, [from, to], that hold the folded needle; no two overlap. White space at its ends is not
  // rendered.
  function* occurrences(original, needle) {
    const { text, parts } = fold(original.trimEnd());
    let part = 0;
    let end = 0;
    const partAt = (index) => {
      while (part + 1 < parts.length && parts[part + 1].at <= index) part++;
      return parts[part];
    };
    for (let at = text.indexOf(needle, text.startsWith(" ") ? 1 : 0); at >= 0; at = text.indexOf(needle, at + needle.length)) {
      const first = partAt(at);
      const from = first.plain ? first.from + at - first.at : first.from;
      const last = partAt(at + needle.length - 1);
      const to = last.plain ? last.from + at + needle.length - last.at : last.to;
      if (from >= end) yield [from, (end = to)];
    }
  }

  // --- The page's texts.

  // The rendered texts between two breaks, as lists of nodes.
  function* runs(root) {
    let run = [];
    const entered = [];  // the elements that hold the node, outermost first
    let node = root;
    while (node) {
      let inside = null;
      if (node.nodeType === Node.TEXT_NODE) {
        if (entered.at(-1)?.visible) run.push(node);
      } else if (node.nodeType === Node.ELEMENT_NODE) {
        const element = look(node);
        if (element.breaks && run.length) {
          yield run;
          run = [];
        }
        if (element.searched && node.firstChild) {
          inside = node.firstChild;
          entered.push(element);
        }
      }
      while (!inside && !node.nextSibling && entered.length) {
        const left = entered.pop();
        if (left.breaks && run.length) {
          yield run;
          run = [];
        }
        node = left.node;
      }
      node = inside ?? (entered.length ? node.nextSibling : null);
    }
    if (run.length) yield run;
  }

  function look(node) {
    const name = node.localName;
    const closed = node.parentNode.localName === "details" && !node.parentNode.open &&
      node !== node.parentNode.querySelector(":scope > summary");
    if (closed || UNSEEN.has(name)) return { node, breaks: false, searched: false };
    const { contentVisibility, display, visibility } = getComputedStyle(node);
    return {
      node,
      breaks: OBJECTS.has(name) || !/^(inline|contents|none|ruby$)/.test(display),
      searched: display !== "none" && contentVisibility !== "hidden" && !OBJECTS.has(name),
      visible: visibility === "visible" && !(name === "details" && !node.open),
    };
  }

  // --- Highlights.

  const replaced = [];  // the page's own text nodes, and what stands in their place

  // Puts highlights into a text; `ranges` are those of its characters. The first one is scrolled to.
  function highlight(node, ranges) {
    const pieces = [];
    let done = 0;
    for (const [from, to] of ranges) {
      if (from > done) pieces.push(node.data.slice(done, from));
      const piece = document.createElement(FOUND);
      piece.append(node.data.slice(from, to));
      pieces.push(piece);
      done = to;
    }
    if (done < node.length) pieces.push(node.data.slice(done));
    let text = pieces[0];
    if (pieces.length > 1) {
      text = document.createElement(TEXT);
      text.append(...pieces);
    }
    node.replaceWith(text);
    if (replaced.push({ node, text }) === 1)
      pieces.find((piece) => piece instanceof Element).scrollIntoView({ block: "center" });
  }

  // The ranges of each text of a run that hold the needle.
  function* found(run, needle) {
    const starts = [];
    let original = "";
    for (const node of run) {
      starts.push(original.length);
      original += node.data;
    }
    const ranges = new Map();
    let first = 0;
    for (const [from, to] of occurrences(original, needle)) {
      while (first + 1 < run.length && starts[first + 1] <= from) first++;
      for (let index = first; index < run.length && starts[index] < to; index++) {
        const node = run[index];
        const range = [Math.max(from - starts[index], 0), Math.min(to - starts[index], node.length)];
        if (range[0] === range[1]) continue;
        if (!ranges.has(node)) ranges.set(node, []);
        ranges.get(node).push(range);
      }
    }
    yield* ranges;
  }

  // --- Slices.

  let job = null;     // a generator that yields at the end of each slice
  let end = 0;        // of the present slice, then of the last one
  let asked = false;  // whether a message is on its way that continues the job
  const messages = new MessageChannel();  // unlike a timer's, they come at once even where the page is not shown
  messages.port1.onmessage = () => {
    asked = false;
    proceed();
  };

  function proceed() {
    const begin = performance.now();
    end = begin + Math.min(Math.max(begin - end, SHORTEST_SLICE), LONGEST_SLICE);
    if (!job || job.next().done) {
      job = null;
    } else if (!asked) {
      asked = true;
      messages.port2.postMessage(null);
    }
    end = performance.now();
  }

  const isOver = () => performance.now() >= end;

  function* removal() {
    while (replaced.length) {
      const { node, text } = replaced.pop();
      text.replaceWith(node);
      if (isOver()) yield;
    }
  }

  function* search(needle) {
    yield* removal();
    if (!document.adoptedStyleSheets.includes(style))
      document.adoptedStyleSheets = [...document.adoptedStyleSheets, style];
    // What is found in the first slice is shown at once, for the reader, and the rest together at the end: when something
    // has changed, the next look at a style makes the engine compute styles anew, and the next picture lays out the page.
    const texts = [];
    for (const run of runs(document.body ?? document.documentElement)) {
      texts.push(...found(run, needle));
      if (!isOver()) continue;
      if (!replaced.length) for (const [node, ranges] of texts.splice(0)) highlight(node, ranges);
      yield;
    }
    for (const [node, ranges] of texts) {
      highlight(node, ranges);
      if (isOver()) yield;
    }
  }

  function* restoration() {
    yield* removal();
    document.adoptedStyleSheets = document.adoptedStyleSheets.filter((sheet) => sheet !== style);
  }

  window.Help_HighlightAllOccurencesOfString = (text) => {
    const needle = fold(String(text)).text;
    job = needle ? search(needle) : restoration();
    proceed();
  };

  window.Help_RemoveAllHighlights = () => {
    job = restoration();
    proceed();
  };
})();
