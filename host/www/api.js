// The client of dscheck's web-API: JSON requests with the session's CSRF token, and the live
// events of a run.

// A refused request: the HTTP status, the server's "error" text as message, and its whole answer.
class ApiError extends Error {
  constructor(status, message, answer = null) {
    super(message);
    this.status = status;
    this.answer = answer;
  }
}

let csrfToken = "";
let onLoggedOut = () => {};

// Called with no arguments whenever the server answers 401: the session has ended.
export function whenLoggedOut(handler) {
  onLoggedOut = handler;
}

// Their 401 is an answer to the caller, not the end of a session.
const SESSION_PATHS = ["/api/login", "/api/session", "/api/logout"];

async function request(method, path, body) {
  const headers = {Accept: "application/json"};
  if (method !== "GET") headers["X-CSRF-Token"] = csrfToken;
  if (body !== undefined) headers["Content-Type"] = "application/json";
  let response;
  try {
    const payload = body === undefined ? undefined : JSON.stringify(body);
    response = await fetch(path, {method, headers, body: payload, credentials: "same-origin"});
  } catch {
    throw new ApiError(0, "The server cannot be reached.");
  }
  if (response.status === 204) return null;
  const data = await response.json().catch(() => null);
  if (response.ok && data !== null) return data;
  if (response.status === 401 && !SESSION_PATHS.includes(path)) onLoggedOut();
  const message = data?.error ?? `The server answered ${response.status} ${response.statusText}.`;
  throw new ApiError(response.status, message, data);
}

function remember(session) {
  csrfToken = session.csrf;
  return session;
}

export const login = (user, password) => request("POST", "/api/login", {user, password}).then(remember);
export const currentSession = () => request("GET", "/api/session").then(remember);
export const logout = () => request("POST", "/api/logout").finally(() => (csrfToken = ""));
export const testTypes = () => request("GET", "/api/test-types").then((answer) => answer.types);
export const startRun = (type, inputs) => request("POST", "/api/runs", {type, inputs}).then((answer) => answer.run);
export const cancelRun = (run) => request("POST", `/api/runs/${encodeURIComponent(run)}/cancel`);
export const runs = () => request("GET", "/api/runs").then((answer) => answer.runs);
export const report = (run) => request("GET", `/api/runs/${encodeURIComponent(run)}`);
export const diff = (a, b) => request("GET", `/api/diff?a=${encodeURIComponent(a)}&b=${encodeURIComponent(b)}`);
export const recheck = (run, check, secrets) => request("POST", "/api/recheck", {run, check, secrets});

const RUN_EVENTS = ["stage", "check-started", "check-finished", "report"];

// Follows a run's events: handlers.stage, ["check-started"], ["check-finished"], report get the
// parsed data; handlers.lost is called when the stream breaks before the report. A late or
// reconnecting client gets the events replayed, so the handlers must be idempotent. Returns the
// function that stops following.
export function followRun(run, handlers) {
  const source = new EventSource(`/api/runs/${encodeURIComponent(run)}/events`);
  for (const type of RUN_EVENTS) {
    source.addEventListener(type, (event) => {
      if (type === "report") source.close();
      handlers[type](JSON.parse(event.data));
    });
  }
  source.onerror = () => {
    if (source.readyState === EventSource.CLOSED) handlers.lost();
  };
  return () => source.close();
}
