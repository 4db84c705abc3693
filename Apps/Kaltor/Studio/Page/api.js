// The server's side. All addresses are relative to the page's own.

class ServerError extends Error {
    constructor(status, message, place) {
        super(message);
        this.status = status;
        this.place = place ?? null;
    }
}

async function answer(response) {
    if (response.ok) return response;
    let said = {};
    try {
        said = await response.json();
    } catch {
        // Without a reason in JSON the status has to do.
    }
    throw new ServerError(response.status, said.error ?? `${response.status} ${response.statusText}`, said.place);
}

const query = (values) => {
    const text = new URLSearchParams(Object.entries(values).filter(([, value]) => value !== undefined && value !== null)).toString();
    return text ? `?${text}` : "";
};

export async function get(path, values = {}, options = {}) {
    return answer(await fetch(`api/${path}${query(values)}`, options));
}
export const getJson = async (path, values, options) => (await get(path, values, options)).json();

export async function post(path, body, options = {}) {
    const response = await answer(
        await fetch(`api/${path}`, { method: "POST", headers: { "Content-Type": "application/json" }, body: JSON.stringify(body), ...options }),
    );
    return response.status === 204 ? null : response.json();
}

export const thumbnailUrl = (file, time, height) => `api/thumbnail${query({ file, time: time.toFixed(2), height })}`;
export const cardUrl = (name) => `api/card/${encodeURIComponent(name)}`;

// Of two pages of one user, the server drops only the older requests of each.
export const kPage = Math.random().toString(36).slice(2, 10);
let sequence = 0;

export const fetchFrame = async (plan, frame, width, signal, isNewest = true) =>
    (await get(`plan/${plan}/frame/${frame}`, { width, ...(isNewest ? { view: kPage, seq: ++sequence } : {}) }, { signal })).blob();

export const fetchSound = async (plan, from, to, signal) =>
    (await get(`plan/${plan}/sound`, { from: from.toFixed(4), to: to.toFixed(4) }, { signal })).arrayBuffer();
