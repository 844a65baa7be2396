// What a deployment sets. Everything else about the window can stay as it is.

export const config = {
  gateway: `ws://${location.hostname || '127.0.0.1'}:6001/`,
  agents: ['1', '2'],
  city: '',
  codePage: 936,
  answer: '',
};
