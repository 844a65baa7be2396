// Answers everybody who writes to it, and in groups whoever names it.
//
//   VNQ_SERVER=127.0.0.1 VNQ_USER=bot VNQ_PASSWORD=... node echo_bot.js
import { Client, tcp } from '@vnq/client/node';

const { VNQ_SERVER: host = '127.0.0.1', VNQ_USER: user = '', VNQ_PASSWORD: password = '' } = process.env;
const bot = new Client({ connect: tcp({ host }), user, password });

bot.on('message', ({ userId, text, isOwn }) => {
  if (!isOwn) void bot.send(userId, `You said: ${text}`);
});
bot.on('groupMessage', ({ groupId, text, isOwn }) => {
  if (!isOwn && text.includes(`@${user}`)) void bot.sendToGroup(groupId, 'I am here.');
});
bot.on('ended', ({ why, retryIn }) => {
  console.error(retryIn === undefined ? `ended: ${why}` : `lost: ${why}; again in ${retryIn} ms`);
});
process.once('SIGTERM', () => void bot.logout());

bot.login({ keepTrying: true }).then(
  ({ userId }) => console.log(`logged in as ${user} (${userId})`),
  (error: Error) => {
    console.error(error.message);
    process.exitCode = 1;
  },
);
