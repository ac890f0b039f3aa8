// The token that a host on a machine of several users wants with each request.

const KEY = "token";

/** Takes the token out of the address, where it came as the fragment: nobody shall copy it from there by chance. */
function takeFromAddress(): boolean {
    const found = /^#token=([\w-]+)$/.exec(location.hash)?.[1];
    if (!found) return false;
    sessionStorage.setItem(KEY, found);
    history.replaceState(null, "", location.pathname);
    return true;
}

takeFromAddress();
// The address of another start of the host, entered while the page is open, does not load the page anew by itself.
window.addEventListener("hashchange", () => {
    if (takeFromAddress()) location.reload();
});

/** Sends a request to the host, with the token when there is one. */
export const send: typeof fetch = (input, init) => {
    const token = sessionStorage.getItem(KEY);
    const headers = new Headers(init?.headers);
    if (token) headers.set("Authorization", `Bearer ${token}`);
    return fetch(input, { ...init, headers });
};
