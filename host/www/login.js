// The log-in screen.

import * as api from "./api.js";
import {alertBox, el, showView} from "./dom.js";

// Shows the form; calls loggedIn(session) once the server accepted the user.
export function showLogin(loggedIn) {
  const error = alertBox();
  const user = el("input", {id: "login-user", autocomplete: "username", autocapitalize: "off", required: true});
  const password = el("input", {
    id: "login-password",
    type: "password",
    autocomplete: "current-password",
    required: true,
  });
  const submit = el("button", {type: "submit", class: "primary"}, "Log in");
  const form = el(
    "form",
    {class: "card narrow", "aria-labelledby": "login-heading"},
    el("div", {class: "field"}, el("label", {for: "login-user"}, "User name"), user),
    el("div", {class: "field"}, el("label", {for: "login-password"}, "Password"), password),
    error,
    el("div", {class: "actions"}, submit),
  );
  form.addEventListener("submit", async (event) => {
    event.preventDefault();
    submit.disabled = true;
    error.textContent = "";
    try {
      loggedIn(await api.login(user.value.trim(), password.value));
    } catch (failure) {
      error.textContent = failure.message;
      password.value = "";
      password.focus();
    } finally {
      submit.disabled = false;
    }
  });
  const intro = el("p", {}, "Log in with a system account of the administrators' group.");
  const heading = showView("Log in", intro, form);
  heading.id = "login-heading";
  user.focus();
}
