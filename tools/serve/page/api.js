// Requests to the server. All of them wait for the token when the server asks for one.

let askToken = null;  // one prompt, however many requests need it

export class Refusal extends Error {
  constructor(status, text) {
    super(text);
    this.status = status;
  }
}

// prompt(isWrong) resolves to what the viewer typed.
export function createApi(prompt) {
  async function logIn(token) {
    const answer = await fetch('/api/v1/login', {
      method: 'POST', headers: { 'Content-Type': 'application/json' }, body: JSON.stringify({ token }),
    });
    return answer.ok;
  }

  async function logInByPrompt() {
    let isWrong = false;
    while (!(await logIn(await prompt(isWrong)))) isWrong = true;
  }

  async function request(method, path, body) {
    for (;;) {
      const answer = await fetch(`/api/v1/${path}`, {
        method,
        headers: body === undefined ? {} : { 'Content-Type': 'application/json' },
        body: body === undefined ? undefined : JSON.stringify(body),
      });
      if (answer.status === 401) {
        askToken ??= logInByPrompt().finally(() => { askToken = null; });
        await askToken;
        continue;
      }
      const value = answer.status === 204 ? null : await answer.json().catch(() => null);
      if (!answer.ok) throw new Refusal(answer.status, value?.error ?? `${method} ${path}: ${answer.status}`);
      return value;
    }
  }

  return {
    logIn,
    get: (path) => request('GET', path),
    post: (path, body) => request('POST', path, body),
    put: (path, body) => request('PUT', path, body),
    patch: (path, body) => request('PATCH', path, body),
    remove: (path) => request('DELETE', path),
  };
}
