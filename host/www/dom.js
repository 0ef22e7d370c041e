// Element building. Text always goes in as text nodes or textContent, never as markup: reports
// carry text from remote servers.

// el("a", {href: "#/x", class: "c", onclick: f}, "text", child, [more]): attributes, listeners
// ("on…"), and children (strings become text nodes; null, undefined and false are left out).
export function el(tag, attributes = {}, ...children) {
  const node = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes)) {
    if (value === null || value === undefined || value === false) continue;
    if (name.startsWith("on")) node.addEventListener(name.slice(2), value);
    else node.setAttribute(name, value === true ? "" : String(value));
  }
  node.append(...children.flat(Infinity).filter((child) => child !== null && child !== undefined && child !== false));
  return node;
}

// A link for an address from a report: only http and https become links, anything else text.
export function externalLink(address) {
  let url;
  try {
    url = new URL(address);
  } catch {
    return el("span", {}, String(address));
  }
  if (url.protocol !== "http:" && url.protocol !== "https:") return el("span", {}, String(address));
  return el("a", {href: url.href, rel: "noopener noreferrer", target: "_blank"}, url.href);
}

// The status word beside its colour, so the colour is never the only sign.
export function badge(status) {
  return el("span", {class: `badge badge-${status}`}, status);
}

// Fills the page's main area with a view: its heading gets the focus and names the document.
export function showView(title, ...children) {
  const main = document.getElementById("main");
  const heading = el("h1", {tabindex: "-1"}, title);
  main.replaceChildren(heading, ...children.flat());
  document.title = `${title} – dscheck`;
  heading.focus();
  return heading;
}

// An error message that screen readers announce as it appears.
export function alertBox() {
  return el("p", {class: "error", role: "alert"});
}

const STATUS_ORDER = ["ok", "warning", "error", "unavailable", "skipped", "cancelled"];

// "15 ok, 1 error" from a report's counts, leaving out the zeros.
export function countsText(counts = {}) {
  const parts = STATUS_ORDER.filter((status) => counts[status] > 0).map((status) => `${counts[status]} ${status}`);
  return parts.length ? parts.join(", ") : "no checks";
}

// "14.4 s", "0.02 s".
export const seconds = (value) => `${Number(value).toFixed(value < 1 ? 2 : 1)} s`;
