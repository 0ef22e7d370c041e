// The page's frame: the session, the header, and the screen named by the address's hash.

import * as api from "./api.js";
import {el, showView} from "./dom.js";
import {showDiff, showHistory} from "./history.js";
import {showLogin} from "./login.js";
import {showProgress} from "./progress.js";
import {showReport} from "./report.js";
import {showStart} from "./start.js";

const ROUTES = [
  [/^#\/new(?:\/(\w+))?$/, showStart],
  [/^#\/run\/([\w.-]+)$/, showProgress],
  [/^#\/report\/([\w.-]+)$/, showReport],
  [/^#\/history$/, showHistory],
  [/^#\/diff\/([\w.-]+)\/([\w.-]+)$/, showDiff],
];

let loggedIn = false;
let leaveView = () => {};

function showAccount(user) {
  loggedIn = Boolean(user);
  document.getElementById("nav").hidden = !loggedIn;
  document.getElementById("account").hidden = !loggedIn;
  document.getElementById("account-user").textContent = user ? `Logged in as ${user}` : "";
}

function markCurrentLink() {
  for (const link of document.querySelectorAll("#nav a")) {
    if (location.hash.startsWith(link.getAttribute("href"))) link.setAttribute("aria-current", "page");
    else link.removeAttribute("aria-current");
  }
}

// Shows the screen of the current hash; a failure to load it is shown in its place.
async function route() {
  leaveView();
  leaveView = () => {};
  if (!loggedIn) {
    showLogin(enter);
    return;
  }
  const [pattern, show] = ROUTES.find(([candidate]) => candidate.test(location.hash)) ?? [];
  if (!show) {
    location.replace("#/new");
    return;
  }
  markCurrentLink();
  try {
    leaveView = (await show(...pattern.exec(location.hash).slice(1))) ?? leaveView;
  } catch (failure) {
    if (loggedIn) showView("Something went wrong", el("p", {class: "error", role: "alert"}, failure.message));
  }
}

function enter(session) {
  showAccount(session.user);
  route();
}

function loggedOut() {
  showAccount(null);
  route();
}

document.getElementById("logout").addEventListener("click", async () => {
  await api.logout().catch(() => {});
  loggedOut();
});
document.querySelector(".skip").addEventListener("click", (event) => {
  event.preventDefault();
  document.getElementById("main").focus();
});
window.addEventListener("hashchange", route);
api.whenLoggedOut(loggedOut);
api.currentSession().then(enter, loggedOut);
