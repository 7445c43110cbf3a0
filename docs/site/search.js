// The search of the site: finds modules, classes, members and sections of guides, names before texts.
//
// The theme starts this file as its search worker and shows what it answers. A name that is typed as it stands in the
// API is the first result: `Image.load`, `can_load`, `PngOptions`, "png options". The entries are in entries.json, each
// with a title, an address, a text and a weight that orders entries which fit equally well.

"use strict"

// Messages between the theme and its worker.
const SETUP = 0, READY = 1, QUERY = 2, RESULT = 3
const MOST = 60

let entries = []

// The words of a name: of `Image.load`, `PngOptions`, `LANCZOS_RESAMPLE` and of plain text.
function wordsOf(text) {
  return text
    .replace(/([a-z0-9])([A-Z])/g, "$1 $2")
    .replace(/([A-Z])([A-Z][a-z])/g, "$1 $2")
    .toLowerCase()
    .split(/[^\p{L}\p{N}]+/u)
    .filter(Boolean)
}

function prepared([title, location, text, weight]) {
  const lower = title.toLowerCase()
  return {
    title, location, text, weight, lower,
    last: lower.slice(lower.lastIndexOf(".") + 1),
    words: wordsOf(title),
    found: text.toLowerCase()
  }
}

// How well an entry fits; 0 if it does not.
function rank(entry, query, words, joined) {
  if (entry.lower === query) { return 100 }
  if (entry.last === query) { return 90 }
  if (entry.words.join("") === joined) { return 85 }
  if (wordsOf(entry.last).join("") === joined) { return 80 }
  if (entry.lower.startsWith(query)) { return 70 }
  if (entry.last.startsWith(query)) { return 65 }
  const named = words.filter(word => entry.words.some(other => other.startsWith(word))).length
  if (named === words.length) { return 50 - Math.min(entry.words.length - words.length, 10) }
  const told = words.filter(word => entry.words.some(other => other.startsWith(word)) || entry.found.includes(word))
  if (told.length === words.length) { return 20 + 10 * named / words.length }
  return 0
}

function escaped(text) {
  return text.replace(/[&<>"]/g, found => ({ "&": "&amp;", "<": "&lt;", ">": "&gt;", "\"": "&quot;" })[found])
}

function marked(text, words) {
  const pattern = words.map(word => word.replace(/[^\p{L}\p{N}]/gu, "\\$&")).join("|")
  return escaped(text).replace(new RegExp(`(${pattern})(?![^&<]*;)`, "giu"), "<mark data-md-highlight>$1</mark>")
}

// Words of a question that say nothing about its subject.
const EMPTY = new Set(["a", "an", "the", "of", "to", "in", "for", "how", "do", "i"])

function search(text) {
  const query = text.replace(/[+"]/g, " ").trim().replace(/\(\)$/, "").toLowerCase()
  const all = wordsOf(text.replace(/[+"]/g, " "))
  const telling = all.filter(word => !EMPTY.has(word))
  const words = telling.length > 0 ? telling : all
  if (words.length === 0) { return [] }
  const found = []
  for (const entry of entries) {
    const score = rank(entry, query, words, words.join(""))
    if (score > 0) { found.push([score * 100 + entry.weight * 10 - entry.title.length / 100, entry]) }
  }
  found.sort((one, other) => other[0] - one[0])
  return found.slice(0, MOST).map(([score, entry]) => [{
    location: entry.location,
    // The theme shows the texts of pages alone, not those of places on them.
    title: `${marked(entry.title, words)}<span class="found">${marked(entry.text, words)}</span>`,
    text: "",
    score,
    terms: {}
  }])
}

const loading = fetch(new URL("entries.json", self.location))
  .then(answer => answer.json())
  .then(rows => { entries = rows.map(prepared) })

// The theme keeps the last message alone while it waits for an answer, so that a query may come instead of the set-up.
let announced = false

addEventListener("message", async ({ data: message }) => {
  await loading
  if (message.type === SETUP || !announced) {
    announced = true
    postMessage({ type: READY })
  }
  if (message.type === QUERY) {
    postMessage({ type: RESULT, data: { items: search(message.data) } })
  }
})
