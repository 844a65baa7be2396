// Who the visitor is: a random name that lasts as long as the tab.
//
// The server drops the earlier connection of a visitor who comes again, which frees its place
// there; so a reload keeps its name. Two tabs must not share one, or they would drop each other
// for ever: a copied tab finds the name taken and makes its own.

const KEY = 'visitor-name';
const ANSWER_MS = 150;

function newName() {
  const bytes = crypto.getRandomValues(new Uint8Array(8));
  return 'web-' + Array.from(bytes, (byte) => byte.toString(16).padStart(2, '0')).join('');
}

function isTaken(channel, name) {
  return new Promise((resolve) => {
    const listen = ({ data }) => {
      if (data.taken === name) resolve(true);
    };
    channel.addEventListener('message', listen);
    channel.postMessage({ asks: name });
    setTimeout(() => {
      channel.removeEventListener('message', listen);
      resolve(false);
    }, ANSWER_MS);
  });
}

/** @returns {Promise<string>} */
export async function visitorName() {
  const channel = new BroadcastChannel('visitor-names');
  let name = sessionStorage.getItem(KEY);
  if (!name || (await isTaken(channel, name))) name = newName();
  sessionStorage.setItem(KEY, name);
  channel.addEventListener('message', ({ data }) => {
    if (data.asks === name) channel.postMessage({ taken: name });
  });
  return name;
}
