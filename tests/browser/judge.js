// Looks at the picture of a page as the browser has laid it out, and writes down what it found.
const svg = document.querySelector("svg.timeline");
const texts = [...svg.querySelectorAll("text")];
const box = (element) => element.getBoundingClientRect();
const frame = box(svg);
const tolerance = 1;

const outside = texts.filter((text) => {
  const b = box(text);
  return b.left < frame.left - tolerance || b.right > frame.right + tolerance ||
         b.top < frame.top - tolerance || b.bottom > frame.bottom + tolerance;
});

// Texts may touch: the boxes of letters are taller than what is drawn.
const covers = (a, b) => a.left < b.right - 2 && b.left < a.right - 2 &&
                         a.top < b.bottom - 4 && b.top < a.bottom - 4;
const boxes = texts.map(box);
const covered = [];
for (let i = 0; i < texts.length; ++i)
  for (let j = i + 1; j < texts.length; ++j)
    if (covers(boxes[i], boxes[j]))
      covered.push(texts[i].textContent + "/" + texts[j].textContent);

// A title of a phase is at the same height in both runs, or only in one of them.
const heights = new Map();
for (const text of texts.filter((each) => each.classList.contains("name"))) {
  const name = text.textContent;
  heights.set(name, [...(heights.get(name) ?? []), Math.round(box(text).top)]);
}
const apart = [...heights].filter(([name, tops]) => tops.length === 2 && tops[0] !== tops[1]);

const drawn = new Set([...svg.querySelectorAll("title")]
    .map((title) => title.textContent.match(/^(render|capture) \d: active/)?.[0])
    .filter((name) => name !== undefined));
const parsed = new DOMParser().parseFromString(
    new XMLSerializer().serializeToString(svg), "image/svg+xml");

window.addEventListener("load", () => {
  const verdict = document.createElement("pre");
  verdict.textContent = [
    "", "outside: " + (outside.map((text) => text.textContent).join("|") || "none"),
    "covered: " + (covered.join("|") || "none"),
    "resources: " + (performance.getEntriesByType("resource").length +
                    document.querySelectorAll("[src], [href], [data]").length),
    "endpoints: " + drawn.size,
    "rows: " + (apart.length === 0 ? "aligned" : apart.map(([name]) => name).join("|")),
    "malformed: " + (parsed.querySelector("parsererror") === null ? "no" : "yes"), "",
  ].join("\n");
  document.body.append(verdict);
});
